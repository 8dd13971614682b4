# Sourced by the scripts: where things are, and the settings without which Wine misbehaves.
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

export LC_ALL=C.UTF-8  # in the C locale accented arguments arrive as garbage
export WINEPREFIX="$project/build/wine"
export WINEDEBUG=-all
# No components for .NET and HTML, and a crash ends the program at once instead of starting a debugger.
export WINEDLLOVERRIDES='mscoree,mshtml=;winedbg.exe=d'
unset DISPLAY

# The programs themselves: the wrappers in /usr/bin print hints and add options.
export WINE=/usr/lib/wine/wine64
wineserver=/usr/lib/wine/wineserver64

# A compiler cache, when one is installed, also takes files that use a precompiled header, and one clone
# finds what another one compiled.
export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
export CCACHE_BASEDIR=$project CCACHE_NOHASHDIR=1

# The Windows view of an absolute Linux path: drive Z: is the root folder.
windows_path() { printf 'Z:%s' "${1//\//\\}"; }

# Makes the Wine prefix unless it exists. The stamp holds this file's checksum, so a change of the
# settings below makes a new prefix.
make_wine_prefix() {
    local stamp="$WINEPREFIX/.ready" version
    version=$(cksum <"${BASH_SOURCE[0]}")
    [ "$(cat "$stamp" 2>/dev/null || true)" != "$version" ] || return 0
    echo "Making the Wine prefix (5 s)" >&2
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    "$WINE" wineboot --init </dev/null >/dev/null 2>&1
    # Windows 10; consoles without a display; no dialog after a crash.
    cat >"$WINEPREFIX/settings.reg" <<'REG'
REGEDIT4

[HKEY_CURRENT_USER\Software\Wine]
"Version"="win10"

[HKEY_CURRENT_USER\Software\Wine\Drivers]
"Graphics"="null"

[HKEY_CURRENT_USER\Software\Wine\WineDbg]
"ShowCrashDialog"=dword:00000000
REG
    "$WINE" regedit /S "$(windows_path "$WINEPREFIX/settings.reg")" </dev/null >/dev/null 2>&1
    "$wineserver" -w
    printf '%s' "$version" >"$stamp"
}

# With a running server a program starts in 16 to 25 ms instead of 0.4 s and more. The server ends after
# five minutes without a program. It and its services inherit all open files, hence the redirections.
start_wine_server() {
    "$wineserver" -p300 </dev/null >/dev/null 2>&1 || true  # fails when one is already running
    "$WINE" wineboot </dev/null >/dev/null 2>&1
}
stop_wine_server() {
    "$wineserver" -k </dev/null >/dev/null 2>&1 || true
    "$wineserver" -w </dev/null >/dev/null 2>&1 || true
}

# Ends a process and what it has started.
end_tree() {
    local child children
    children=$(cat "/proc/$1/task/$1/children" 2>/dev/null || true)
    kill "$1" 2>/dev/null || true
    for child in $children; do end_tree "$child"; done
}

minutes() { printf '%d:%02d' $(($1 / 60)) $(($1 % 60)); }

# Runs a command as a stage of a longer run. Prints its last line every 20 seconds, and its duration at
# the end. All of its output is kept below build/log, and shown when it fails.
stage() {
    local name=$1 began=$SECONDS shown=$SECONDS log code=0
    shift
    mkdir -p "$project/build/log"
    log="$project/build/log/${name// /-}.log"
    "$@" >"$log" 2>&1 &
    while kill -0 $! 2>/dev/null; do
        sleep 0.2
        if ((SECONDS - shown >= 20)); then
            shown=$SECONDS
            printf '  %s, %s: %.80s\n' "$name" "$(minutes $((SECONDS - began)))" \
                "$(tail -n 1 "$log" | tr -d '\r')"
        fi
    done
    wait $! || code=$?
    if [ $code != 0 ]; then
        cat "$log"
        printf '%s: failed after %s\n' "$name" "$(minutes $((SECONDS - began)))"
        exit "$code"
    fi
    printf '%s: %s\n' "$name" "$(minutes $((SECONDS - began)))"
}

# Runs a command that may take long. Says after two seconds what is running, then every 20 seconds, and
# shows the command's output only when it fails.
patiently() {
    local message=$1 log code=0 began=$SECONDS shown=-1
    shift
    log=$(mktemp)
    "$@" >"$log" 2>&1 &
    while kill -0 $! 2>/dev/null; do
        sleep 0.1
        if ((SECONDS - began >= 2 && (shown < 0 || SECONDS - shown >= 20))); then
            shown=$SECONDS
            echo "$message ($((SECONDS - began)) s): $(tail -n 1 "$log" | cut -c 1-70)" >&2
        fi
    done
    wait $! || code=$?
    [ $code = 0 ] || cat "$log" >&2
    rm -f "$log"
    return "$code"
}
