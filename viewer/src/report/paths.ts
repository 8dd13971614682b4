// Parts of a path as the report writes it. A folder is everything up to and including the last
// backslash, so that folder + name is the path again, whatever the path is.

export function folderOf(path: string): string {
    return path.slice(0, path.lastIndexOf("\\") + 1);
}

export function nameOf(path: string): string {
    return path.slice(path.lastIndexOf("\\") + 1);
}

// The extension in lower case without its dot, or nothing. What is long or holds a blank is the end
// of a sentence rather than a type of file.
export function extensionOf(name: string): string {
    const dot = name.lastIndexOf(".");
    if (dot < 1) return "";
    const extension = name.slice(dot + 1);
    return extension.length === 0 || extension.length > 15 || /\s/.test(extension)
        ? "" : extension.toLowerCase();
}

// The folder that holds a folder; nothing above "C:\" and above "\\server\".
export function parentOf(folder: string): string {
    let from = folder.length - 2;
    while (from >= 0 && folder[from] !== "\\") --from;
    let leading = 0;
    while (folder[leading] === "\\") ++leading;
    return from < leading ? "" : folder.slice(0, from + 1);
}
