/** Makes buttons of the role tab work as tabs: arrows, Home and End move between them, Enter and the pointer choose. */
export class Tabs {
  /** Called with the id of the panel that is shown now. */
  onChange: ((panel: string) => void) | null = null;
  private readonly buttons: HTMLButtonElement[];

  constructor(list: HTMLElement) {
    this.buttons = [...list.querySelectorAll("button")];
    for (const button of this.buttons) {
      button.addEventListener("click", () => this.choose(panelOf(button)));
    }
    list.addEventListener("keydown", (event) => this.move(event));
    this.choose(panelOf(this.buttons[0]));
  }

  choose(panel: string): void {
    for (const button of this.buttons) {
      const isChosen = panelOf(button) === panel;
      button.setAttribute("aria-selected", String(isChosen));
      button.tabIndex = isChosen ? 0 : -1;
      const shown = document.getElementById(panelOf(button));
      if (shown) {
        shown.hidden = !isChosen;
      }
    }
    this.onChange?.(panel);
  }

  private move(event: KeyboardEvent): void {
    const buttons = this.buttons.filter((button) => !button.hidden);
    const now = buttons.findIndex((button) => button === document.activeElement);
    const last = buttons.length - 1;
    const next: Record<string, number> = {
      ArrowLeft: now === 0 ? last : now - 1,
      ArrowRight: now === last ? 0 : now + 1,
      Home: 0,
      End: last,
    };
    const target = next[event.key];
    if (now >= 0 && target !== undefined && !event.altKey && !event.ctrlKey && !event.metaKey) {
      buttons[target]?.focus();
      event.preventDefault();
    }
  }
}

function panelOf(button: HTMLButtonElement | undefined): string {
  return button?.getAttribute("aria-controls") ?? "";
}
