import { paths, type Element, type Source } from "./api";
import { actionOf, foundRows, nameOf, openRows, tagText, valueOf, type AttributeRow } from "./attributeRows";
import { counted, debounced, element, sentenceOf, withStop } from "./dom";
import { Rows } from "./rows";

const kRowHeight = 24;
const kHeadHeight = 27;
const kIndent = 14; // px, of each level
const kDeepest = 15; // levels below are not indented further
const kShownValue = 300; // characters; more is never seen in a row
const kOpenItems = 20; // a sequence of at most so many items shows what they hold as soon as it is opened

interface Answer {
  elements: Element[];
  actionProblem?: string; // why it is not known what a de-identification does
}

/** All attributes of a file: a table with a search, and the whole value of the row that is chosen. */
export class AttributeTable {
  private readonly search = element("input", {
    id: "attribute-search",
    type: "search",
    autocomplete: "off",
    spellcheck: "false",
    placeholder: "Search tags, keywords and values",
    "aria-label": "Search the attributes",
    "aria-describedby": "attribute-hits",
  });
  private readonly hits = element("span", { id: "attribute-hits", role: "status", class: "muted" });
  private readonly table = element("div", {
    id: "attribute-table",
    role: "treegrid",
    tabindex: "0",
    "aria-label": "Attributes of the file",
    "aria-readonly": "true",
  });
  private readonly note = element("p", { class: "note", hidden: true });
  private readonly detail = element("section", {
    id: "attribute-detail",
    "aria-label": "The chosen attribute",
    hidden: true,
  });
  private readonly rows: Rows<AttributeRow>;
  private elements: Element[] = [];
  private readonly open = new Set<string>();
  private openInSearch = new Set<string>();
  private closedInSearch = new Set<string>();
  private shownOpen: ReadonlySet<string> = this.open;
  private active = ""; // the key of the row where the keys are
  private wanted: { series: number; file: number } | null = null;
  private loaded = "";
  private isActive = false;
  private areActionsKnown = true;
  private reading = new AbortController();
  private readonly seek = debounced(100, () => this.changeSearch());
  private readonly load = debounced(150, () => void this.read());

  constructor(
    private readonly root: HTMLElement,
    private readonly source: Source,
  ) {
    this.table.append(head());
    const bar = element("div", { class: "attribute-bar" }, this.search, this.hits);
    root.append(bar, this.note, this.table, this.detail);
    this.rows = new Rows(
      this.table,
      () => kRowHeight,
      (row, index) => this.makeRow(row, index),
      kHeadHeight,
      "rowgroup",
    );
    this.search.addEventListener("input", () => this.seek.call());
    this.search.addEventListener("keydown", (event) => this.leaveSearch(event));
    this.table.addEventListener("click", (event) => this.click(event));
    this.table.addEventListener("keydown", (event) => this.press(event));
  }

  /** The file whose attributes are to be seen. They are read when the table is, and when no other file follows soon. */
  show(series: number, file: number): void {
    this.wanted = { series, file };
    if (this.isActive && this.loaded !== `${series}/${file}`) {
      this.setState("reading"); // what is seen is of another file
      this.load.call();
    }
  }

  /** Whether the table is in view. */
  setActive(isActive: boolean): void {
    this.isActive = isActive;
    if (isActive && this.wanted) {
      this.show(this.wanted.series, this.wanted.file);
    }
  }

  private async read(): Promise<void> {
    if (!this.wanted) {
      return;
    }
    const { series, file } = this.wanted;
    this.reading.abort();
    const reading = new AbortController();
    this.reading = reading;
    try {
      const answer = await this.source.json<Answer>(paths.elements(series, file), reading.signal);
      if (reading.signal.aborted) {
        return;
      }
      this.elements = answer.elements;
      this.note.textContent = answer.actionProblem
        ? `It is not known what a de-identification would do with this file. ${withStop(answer.actionProblem)}`
        : "";
      this.areActionsKnown = !answer.actionProblem;
      this.note.hidden = this.areActionsKnown;
      this.table.hidden = false;
    } catch (error) {
      if (reading.signal.aborted) {
        return;
      }
      this.elements = [];
      this.note.textContent = sentenceOf(error);
      this.note.hidden = false;
      this.table.hidden = true;
    }
    this.loaded = `${series}/${file}`;
    this.root.dataset.file = String(file);
    this.root.dataset.series = String(series);
    this.update();
    this.setState("ready");
  }

  private setState(state: "reading" | "ready"): void {
    this.root.dataset.state = state;
    this.table.setAttribute("aria-busy", String(state === "reading"));
    if (state === "reading") {
      this.hits.textContent = "The attributes are being read.";
    }
  }

  private changeSearch(): void {
    this.openInSearch = new Set();
    this.closedInSearch = new Set();
    this.table.scrollTop = 0;
    this.update();
  }

  private update(): void {
    const query = this.search.value.trim();
    let rows: AttributeRow[];
    if (query === "") {
      rows = openRows(this.elements, this.open);
      this.shownOpen = this.open;
      this.hits.textContent = counted(this.elements.length, "attribute");
    } else {
      const found = foundRows(this.elements, query, this.openInSearch, this.closedInSearch);
      rows = found.rows;
      this.shownOpen = found.open;
      this.hits.textContent = `${found.hits.toLocaleString("en-GB")} found`;
    }
    this.root.dataset.query = query;
    this.table.setAttribute("aria-rowcount", String(rows.length + 1));
    if (!rows.some((row) => row.key === this.active)) {
      this.active = rows[0]?.key ?? "";
      this.detail.hidden = true;
    }
    const deepest = rows.reduce((deep, row) => Math.max(deep, row.level), 1);
    this.table.style.setProperty("--tag-width", `${125 + kIndent * (Math.min(deepest, kDeepest) - 1)}px`);
    this.rows.set(rows);
    this.tellActive();
    if (!this.detail.hidden) {
      this.showDetail();
    }
  }

  private makeRow(row: AttributeRow, index: number): HTMLElement {
    const made = element("div", {
      role: "row",
      id: `attribute-${index}`,
      class: `row attribute${row.key === this.active ? " active" : ""}${row.element ? "" : " item"}`,
      "data-index": index,
      "data-tag": row.element ? tagText(row.element.tag) : null,
      "aria-level": row.level,
      "aria-rowindex": index + 2,
      "aria-selected": row.key === this.active ? "true" : "false",
    });
    const first = element("span", { role: "gridcell", class: "tag" });
    first.style.paddingLeft = `${6 + kIndent * (Math.min(row.level, kDeepest) - 1)}px`;
    made.append(first);
    if (row.inside > 0) {
      const isOpen = this.shownOpen.has(row.key);
      made.setAttribute("aria-expanded", String(isOpen));
      first.append(
        element(
          "button",
          {
            type: "button",
            class: "fold",
            tabindex: "-1",
            "aria-expanded": String(isOpen),
            "aria-label": isOpen ? "Close" : "Open",
          },
          element("span", { class: "twist" }),
        ),
      );
    } else {
      first.append(element("span", { class: "fold" }));
    }
    if (!row.element) {
      first.append(`Item ${row.item}`);
      made.append(cell("keyword muted", counted(row.inside, "attribute")));
      return made;
    }
    first.append(tagText(row.element.tag));
    made.append(
      cell(row.element.keyword === "" ? "keyword private" : "keyword", nameOf(row.element)),
      cell("vr", row.element.vr),
      valueCell(row.element),
      this.areActionsKnown
        ? cell(`action${row.element.action === "" ? " muted" : ""}`, actionOf(row.element))
        : cell("action muted", "not known"),
    );
    return made;
  }

  private click(event: MouseEvent): void {
    const target = event.target instanceof globalThis.Element ? event.target : null;
    const index = Number(target?.closest<HTMLElement>("[data-index]")?.dataset.index ?? -1);
    const row = this.rows.all[index];
    if (!row) {
      return;
    }
    this.goTo(index);
    if (target?.closest("button.fold") || !row.element) {
      this.fold(row);
    } else {
      this.showDetail();
    }
  }

  private press(event: KeyboardEvent): void {
    const now = this.activeIndex();
    const row = this.rows.all[now];
    if (!row || event.altKey || event.ctrlKey || event.metaKey) {
      return;
    }
    const last = this.rows.all.length - 1;
    const moves: Record<string, number> = {
      ArrowDown: now + 1,
      ArrowUp: now - 1,
      PageDown: now + this.rows.pageSize(),
      PageUp: now - this.rows.pageSize(),
      Home: 0,
      End: last,
    };
    const move = moves[event.key];
    const isOpen = this.shownOpen.has(row.key);
    if (move !== undefined) {
      this.goTo(Math.min(last, Math.max(0, move)));
    } else if (event.key === "ArrowRight" && row.inside > 0) {
      if (isOpen) {
        this.goTo(now + 1);
      } else {
        this.fold(row);
      }
    } else if (event.key === "ArrowLeft") {
      if (isOpen) {
        this.fold(row);
      } else if (row.level > 1) {
        this.goTo(this.parentOf(now));
      }
    } else if (event.key === "Enter" || event.key === " ") {
      if (row.inside > 0) {
        this.fold(row);
      } else {
        this.showDetail();
      }
    } else if (event.key === "Escape") {
      this.detail.hidden = true;
    } else {
      return;
    }
    event.preventDefault();
  }

  private leaveSearch(event: KeyboardEvent): void {
    if (event.key === "Escape" && this.search.value !== "") {
      this.search.value = "";
      this.changeSearch();
      event.preventDefault();
    } else if (event.key === "ArrowDown" || event.key === "Enter") {
      this.seek.cancel();
      this.changeSearch();
      this.table.focus();
      event.preventDefault();
    }
  }

  private parentOf(index: number): number {
    const level = this.rows.all[index]?.level ?? 1;
    let parent = index;
    while (parent > 0 && (this.rows.all[parent]?.level ?? 1) >= level) {
      --parent;
    }
    return parent;
  }

  private fold(row: AttributeRow): void {
    const isSearch = this.search.value.trim() !== "";
    const open = isSearch ? this.openInSearch : this.open;
    if (this.shownOpen.has(row.key)) {
      open.delete(row.key);
      this.closedInSearch.add(row.key);
    } else {
      open.add(row.key);
      this.closedInSearch.delete(row.key);
      if (row.element && row.inside <= kOpenItems) {
        row.element.items?.forEach((_, index) => open.add(`${row.key}[${index + 1}]`));
      }
    }
    this.update();
  }

  private activeIndex(): number {
    return this.rows.all.findIndex((row) => row.key === this.active);
  }

  private goTo(index: number): void {
    const row = this.rows.all[index];
    if (row) {
      const before = this.activeIndex();
      this.active = row.key;
      this.rows.reveal(index);
      this.rows.refreshRow(before);
      this.rows.refreshRow(index);
      this.tellActive();
      if (!this.detail.hidden) {
        this.showDetail();
      }
    }
  }

  private tellActive(): void {
    const index = this.activeIndex();
    if (this.rows.elementOf(index)) {
      this.table.setAttribute("aria-activedescendant", `attribute-${index}`);
    } else {
      this.table.removeAttribute("aria-activedescendant");
    }
  }

  /** The value of the active row, whole. */
  private showDetail(): void {
    const index = this.activeIndex();
    const shown = this.rows.all[index]?.element;
    this.detail.hidden = !shown;
    if (!shown) {
      return;
    }
    const facts = [shown.vr, shown.bytes === undefined ? "" : counted(shown.bytes, "byte")];
    if (this.areActionsKnown) {
      facts.push(`De-identification: ${actionOf(shown)}`);
    }
    if (shown.creator) {
      facts.unshift(`Private, of ${shown.creator}`);
    }
    const close = element("button", { type: "button" }, "Close");
    close.addEventListener("click", () => {
      this.detail.hidden = true;
      this.table.focus();
    });
    const title = element("h3", {}, `${tagText(shown.tag)} ${shown.keyword}`);
    const value = element(
      "pre",
      { id: "attribute-value", tabindex: "0", role: "region", "aria-label": "The whole value" },
      valueOf(shown),
    );
    const line = facts.filter((fact) => fact !== "").join(" · ");
    this.detail.replaceChildren(
      element("div", { class: "detail-head" }, title, element("span", { class: "muted" }, line), close),
      value,
    );
    this.rows.reveal(index); // the table has become lower
  }
}

function head(): HTMLElement {
  const names = { tag: "Tag", keyword: "Keyword", vr: "VR", value: "Value", action: "De-identification" };
  const cells = Object.entries(names).map(([name, text]) =>
    element("span", { role: "columnheader", class: name }, text),
  );
  const row = element("div", { role: "row", class: "attribute head", "aria-rowindex": "1" }, ...cells);
  return element("div", { role: "rowgroup", class: "head-group" }, row);
}

function cell(name: string, text: string): HTMLElement {
  return element("span", { role: "gridcell", class: name, title: text }, text);
}

function valueCell(shown: Element): HTMLElement {
  const value = valueOf(shown);
  if (value.length <= kShownValue) {
    return cell(shown.items ? "value muted" : "value", value);
  }
  return element(
    "span",
    { role: "gridcell", class: "value" },
    element("button", { type: "button", class: "whole", tabindex: "-1" }, "Show all"),
    `${value.slice(0, kShownValue)}…`,
  );
}
