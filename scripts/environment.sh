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

# The Windows view of an absolute Linux path: drive Z: is the root folder.
windows_path() { printf 'Z:%s' "${1//\//\\}"; }

# With a server that stays, a program starts in 16 to 25 ms instead of 0.4 s and more. The server and
# the services that it starts inherit all open files, hence the redirections.
start_wine_server() {
    "$wineserver" -p </dev/null >/dev/null 2>&1 || true  # refused when one is running already
    "$WINE" wineboot </dev/null >/dev/null 2>&1
}
stop_wine_server() {
    "$wineserver" -k </dev/null >/dev/null 2>&1 || true
    "$wineserver" -w </dev/null >/dev/null 2>&1 || true
}
