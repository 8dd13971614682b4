// Elements in one expression. Texts go in as text nodes, never as markup.

export type Child = Node | string;

export function el<K extends keyof HTMLElementTagNameMap>(
    tag: K, attributes: Readonly<Record<string, string>> = {},
    ...children: readonly Child[]): HTMLElementTagNameMap[K] {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
    element.append(...children);
    return element;
}

export function button(text: string, act: () => void,
                       attributes: Readonly<Record<string, string>> = {}): HTMLButtonElement {
    const element = el("button", { type: "button", ...attributes }, text);
    element.addEventListener("click", act);
    return element;
}

// A number for people, with the exact one beside it.
export function data(value: number, shown: string, className = ""): HTMLDataElement {
    const attributes: Record<string, string> = { value: String(value) };
    if (className !== "") attributes["class"] = className;
    return el("data", attributes, shown);
}

export function labelled(text: string, control: HTMLElement): HTMLLabelElement {
    return el("label", {}, el("span", {}, text), control);
}

// Asks for a file; nothing happens when the person gives up.
export function chooseFile(take: (file: File) => void): void {
    const input = el("input", { type: "file", accept: ".csv,text/csv" });
    input.addEventListener("change", () => {
        const file = input.files?.[0];
        if (file !== undefined) take(file);
    });
    input.click();
}
