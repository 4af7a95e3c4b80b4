// The few things that all parts of the page do with elements. Text from files goes in as text only.

export type Child = Node | string | null;
export type Attributes = Record<string, string | number | boolean | null>;

/** An element. An attribute of `true` is set without a value, one of `false` or `null` is left out. */
export function element<Name extends keyof HTMLElementTagNameMap>(
  name: Name,
  attributes: Attributes = {},
  ...children: Child[]
): HTMLElementTagNameMap[Name] {
  return filled(document.createElement(name), attributes, children);
}

/** An element of a drawing (SVG). */
export function shape<Name extends keyof SVGElementTagNameMap>(
  name: Name,
  attributes: Attributes = {},
  ...children: Child[]
): SVGElementTagNameMap[Name] {
  return filled(document.createElementNS("http://www.w3.org/2000/svg", name), attributes, children);
}

export function setAttributes(target: globalThis.Element, attributes: Attributes): void {
  for (const [name, value] of Object.entries(attributes)) {
    if (value === null || value === false) {
      target.removeAttribute(name);
    } else {
      target.setAttribute(name, value === true ? "" : String(value));
    }
  }
}

function filled<Made extends globalThis.Element>(made: Made, attributes: Attributes, children: Child[]): Made {
  setAttributes(made, attributes);
  for (const child of children) {
    if (child !== null) {
      made.append(child);
    }
  }
  return made;
}

/** The element of index.html with this id. */
export function byId(id: string): HTMLElement {
  const found = document.getElementById(id);
  if (!found) {
    throw new Error(`The page has no element ${id}.`);
  }
  return found;
}

/** Calls the action once when no further call has come for a while. */
export function debounced(milliseconds: number, action: () => void): { call(): void; cancel(): void } {
  let timer = 0;
  return {
    call() {
      clearTimeout(timer);
      timer = window.setTimeout(action, milliseconds);
    },
    cancel() {
      clearTimeout(timer);
    },
  };
}

/** "1 file", "12,000 files". */
export function counted(count: number, one: string, many = `${one}s`): string {
  return `${count.toLocaleString("en-GB")} ${count === 1 ? one : many}`;
}

/** What an error says to people. */
export function sentenceOf(error: unknown): string {
  return withStop(error instanceof Error ? error.message : String(error));
}

export function withStop(sentence: string): string {
  return /[.!?]$/.test(sentence) ? sentence : `${sentence}.`;
}
