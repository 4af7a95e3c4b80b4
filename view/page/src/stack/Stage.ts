// The place of the picture, with what is written over it.

import { element } from "../dom";
import type { Edges } from "./geometry";

const sides = ["left", "right", "top", "bottom"] as const;

export type State = "empty" | "loading" | "ready" | "failed";

export class Stage {
  readonly element = element("div", {
    class: "stack-stage",
    tabindex: 0,
    role: "application",
    "aria-label": "Picture. Arrow keys go through the slices; the button Keys lists the others.",
    "data-role": "stage",
    "data-state": "empty",
  });
  private readonly message = element("p", { class: "stack-message", role: "status", "data-role": "message" });
  private readonly reading = element("p", { class: "stack-reading", "data-role": "reading" });
  private readonly spoken = element("p", { class: "stack-spoken", "aria-live": "polite" });
  private readonly edges = sides.map((side) =>
    element("span", { class: `stack-edge stack-${side}`, "data-edge": side }),
  );

  constructor(...layers: Element[]) {
    this.element.append(...layers, ...this.edges, this.reading, this.message, this.spoken);
  }

  get state(): State {
    return this.element.dataset.state as State;
  }

  /** @param sentence  in place of the picture, or while it is awaited */
  setState(state: State, sentence = ""): void {
    this.element.dataset.state = state;
    if (this.message.textContent !== sentence) {
      this.message.textContent = sentence;
    }
  }

  setEdges(edges: Edges | null): void {
    sides.forEach((side, index) => {
      this.edges[index]!.textContent = edges?.[side] ?? "";
    });
  }

  /** What lies under the pointer. @param data  the same for tests and scripts */
  setReading(text: string, data: Record<string, string> = {}): void {
    this.reading.textContent = text;
    for (const name of Object.keys(this.reading.dataset)) {
      if (name !== "role") {
        delete this.reading.dataset[name];
      }
    }
    Object.assign(this.reading.dataset, data);
  }

  /** For who does not see the picture. */
  say(text: string): void {
    this.spoken.textContent = text;
  }
}
