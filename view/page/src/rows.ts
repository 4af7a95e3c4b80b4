import { element } from "./dom";

const kOverscan = 400; // px above and below the view

/** Many rows in a scrolling box, of which only those in and near the view exist as elements. */
export class Rows<Row> {
  /** Called after rows were made or dropped. */
  onRender: (() => void) | null = null;
  private readonly inner = element("div", { role: "none", class: "rows" });
  private readonly made = new Map<number, HTMLElement>();
  private rows: Row[] = [];
  private tops = new Float64Array(1); // of each row, and the end of the last
  private frame = 0;

  /** @param headHeight  of what stays on top of the box while it scrolls */
  constructor(
    private readonly box: HTMLElement,
    private readonly heightOf: (row: Row) => number,
    private readonly make: (row: Row, index: number, count: number) => HTMLElement,
    private readonly headHeight = 0,
    role = "none",
  ) {
    this.inner.setAttribute("role", role);
    box.append(this.inner);
    box.addEventListener("scroll", () => this.renderSoon(), { passive: true });
    new ResizeObserver(() => this.renderSoon()).observe(box);
  }

  get all(): readonly Row[] {
    return this.rows;
  }

  /** Other rows; the place in the box stays. */
  set(rows: Row[]): void {
    this.rows = rows;
    this.tops = new Float64Array(rows.length + 1);
    rows.forEach((row, index) => {
      this.tops[index + 1] = (this.tops[index] ?? 0) + this.heightOf(row);
    });
    this.inner.style.height = `${this.tops[rows.length] ?? 0}px`;
    this.refresh();
  }

  /** Makes all rows in view anew. */
  refresh(): void {
    for (const each of this.made.values()) {
      each.remove();
    }
    this.made.clear();
    this.render();
  }

  /** Makes what is in one row anew, if it exists. The element stays: somebody may just be clicking on it. */
  refreshRow(index: number): void {
    const old = this.made.get(index);
    const row = this.rows[index];
    if (old && row !== undefined) {
      const fresh = this.place(row, index);
      for (const { name } of [...old.attributes]) {
        if (!fresh.hasAttribute(name)) {
          old.removeAttribute(name);
        }
      }
      for (const { name, value } of fresh.attributes) {
        if (name !== "style") {
          old.setAttribute(name, value);
        }
      }
      old.replaceChildren(...fresh.childNodes);
    }
  }

  /** Scrolls as little as it takes to have the row in view, and makes it. */
  reveal(index: number): void {
    const top = this.tops[index] ?? 0;
    const bottom = this.tops[index + 1] ?? top;
    const view = this.box.clientHeight - this.headHeight;
    if (top < this.box.scrollTop) {
      this.box.scrollTop = top;
    } else if (bottom > this.box.scrollTop + view) {
      this.box.scrollTop = bottom - view;
    }
    this.render();
  }

  elementOf(index: number): HTMLElement | null {
    return this.made.get(index) ?? null;
  }

  /** The first row in view, and the one behind the last. */
  inView(): [first: number, end: number] {
    return this.between(this.box.scrollTop, this.box.scrollTop + this.box.clientHeight - this.headHeight);
  }

  /** How many rows a page has. */
  pageSize(): number {
    const [first, end] = this.inView();
    return Math.max(1, end - first - 2);
  }

  private renderSoon(): void {
    this.frame ||= requestAnimationFrame(() => {
      this.frame = 0;
      this.render();
    });
  }

  private render(): void {
    const top = this.box.scrollTop;
    const [first, end] = this.between(top - kOverscan, top + this.box.clientHeight + kOverscan);
    for (const [index, each] of this.made) {
      if (index < first || index >= end) {
        each.remove();
        this.made.delete(index);
      }
    }
    // In the document the rows are in the order in which they are seen.
    let next: Node | null = null;
    for (let index = end - 1; index >= first; --index) {
      let each = this.made.get(index);
      if (!each) {
        each = this.place(this.rows[index] as Row, index);
        this.made.set(index, each);
        this.inner.insertBefore(each, next);
      }
      next = each;
    }
    this.onRender?.();
  }

  private place(row: Row, index: number): HTMLElement {
    const made = this.make(row, index, this.rows.length);
    made.style.top = `${this.tops[index] ?? 0}px`;
    made.style.height = `${(this.tops[index + 1] ?? 0) - (this.tops[index] ?? 0)}px`;
    return made;
  }

  private between(top: number, bottom: number): [number, number] {
    const first = this.rowAt(top);
    let end = first;
    while (end < this.rows.length && (this.tops[end] ?? 0) < bottom) {
      ++end;
    }
    return [first, end];
  }

  /** The row that covers this height. */
  private rowAt(height: number): number {
    let low = 0;
    let high = Math.max(0, this.rows.length - 1);
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if ((this.tops[middle] ?? 0) <= height) {
        low = middle;
      } else {
        high = middle - 1;
      }
    }
    return low;
  }
}
