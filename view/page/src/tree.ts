import type { Series, Source, Tree } from "./api";
import { badge, type Summary } from "./verdict";
import { byId, counted, debounced, element } from "./dom";
import { Rows } from "./rows";
import { dateText, nameText, seriesTitle, sizeText } from "./texts";
import { Thumbnails } from "./thumbnails";
import { nodesOf, seriesWith, withParents, type TreeNode } from "./treeNodes";
import { Verdicts } from "./verdicts";

const kHeights = { 1: 44, 2: 30, 3: 66 };
const kOpenAtFirst = 200; // series; more are easier to survey when they are folded

/** The patients, studies and series of the folder, with a search, by pointer and by keys. */
export class SeriesTree {
  onChoose: ((series: Series) => void) | null = null;
  private readonly box = byId("tree");
  private readonly search = byId("search") as HTMLInputElement;
  private readonly rows: Rows<TreeNode>;
  private readonly thumbnails: Thumbnails;
  private readonly verdicts: Verdicts;
  private roots: TreeNode[] = [];
  private all = 0;
  private readonly open = new Set<TreeNode>();
  private foldedInSearch = new Set<TreeNode>();
  private found: Set<TreeNode> | null = null; // with what is above; null without a search
  private active: TreeNode | null = null; // where the keys are
  private chosen: TreeNode | null = null;
  private typed = "";
  private readonly forgetTyped = debounced(700, () => (this.typed = ""));
  private readonly seek = debounced(60, () => this.filter());
  private readonly look = debounced(120, () => this.lookAround());

  constructor(source: Source) {
    this.rows = new Rows(
      this.box,
      (node) => kHeights[node.level],
      (node, index) => this.makeRow(node, index),
    );
    this.rows.onRender = () => this.look.call();
    this.thumbnails = new Thumbnails(source, (series) => this.refreshSeries(series));
    this.verdicts = new Verdicts(source, (series) => this.refreshSeries(series));
    this.box.addEventListener("keydown", (event) => this.press(event));
    this.box.addEventListener("click", (event) => this.click(event));
    this.search.addEventListener("input", () => this.seek.call());
    this.search.addEventListener("keydown", (event) => this.leaveSearch(event));
  }

  /** The series on top. */
  get first(): Series | null {
    return this.roots[0]?.children[0]?.children[0]?.series ?? null;
  }

  show(tree: Tree): void {
    this.roots = nodesOf(tree);
    this.all = this.roots.reduce((sum, node) => sum + node.seriesCount, 0);
    const studies = this.roots.flatMap((patient) => patient.children);
    if (this.all <= kOpenAtFirst) {
      [...this.roots, ...studies].forEach((node) => this.open.add(node));
    }
    this.filter();
    this.tellLeftOut(tree.leftOut);
  }

  /** Marks a series as chosen, opens what it is in, and tells the page. */
  choose(series: Series): void {
    const node = this.nodeOf(series.id);
    if (node) {
      this.open.add(node.parent as TreeNode).add(node.parent?.parent as TreeNode);
      this.update();
      this.chooseNode(node);
    }
  }

  setVerdict(series: number, summary: Summary): void {
    this.verdicts.set(series, summary);
  }

  /** While the chosen series is read, the verdicts of others wait. */
  pauseVerdicts(isPaused: boolean): void {
    this.verdicts.pause(isPaused);
  }

  private nodeOf(series: number): TreeNode | null {
    for (const patient of this.roots) {
      for (const study of patient.children) {
        for (const node of study.children) {
          if (node.series?.id === series) {
            return node;
          }
        }
      }
    }
    return null;
  }

  private filter(): void {
    const query = this.search.value.trim();
    this.foldedInSearch = new Set();
    if (query === "") {
      this.found = null;
    } else {
      const verdict = (series: Series): string => this.verdicts.of(series.id)?.words ?? "";
      const hits = seriesWith(this.roots, query, verdict);
      this.found = withParents(hits);
      this.box.scrollTop = 0;
      this.tellHits(hits.size);
    }
    byId("hits").hidden = this.found === null;
    this.update();
    this.box.dataset.query = query; // the rows are those of this search
  }

  private tellHits(hits: number): void {
    byId("hits").textContent = `${hits.toLocaleString("en-GB")} of ${this.all.toLocaleString("en-GB")} series`;
  }

  private isOpen(node: TreeNode): boolean {
    return this.found ? !this.foldedInSearch.has(node) : this.open.has(node);
  }

  private update(): void {
    const rows: TreeNode[] = [];
    const visit = (nodes: TreeNode[]): void => {
      for (const node of nodes) {
        if (!this.found || this.found.has(node)) {
          rows.push(node);
          if (node.level < 3 && this.isOpen(node)) {
            visit(node.children);
          }
        }
      }
    };
    visit(this.roots);
    if (!this.active || !rows.includes(this.active)) {
      this.active = rows.includes(this.chosen as TreeNode) ? this.chosen : (rows[0] ?? null);
    }
    this.rows.set(rows);
    this.tellActive();
  }

  private makeRow(node: TreeNode, index: number): HTMLElement {
    const siblings = node.parent?.children ?? this.roots;
    const row = element("div", {
      role: "treeitem",
      id: `row-${index}`,
      class: `row level-${node.level}${node === this.active ? " active" : ""}`,
      "data-index": index,
      "aria-level": node.level,
      "aria-posinset": node.place,
      "aria-setsize": siblings.length,
      "aria-selected": node === this.chosen ? "true" : "false",
    });
    if (node.series) {
      row.dataset.series = String(node.series.id);
      row.append(...this.seriesParts(node.series));
      return row;
    }
    row.setAttribute("aria-expanded", String(this.isOpen(node)));
    row.append(element("span", { class: "twist", "aria-hidden": "true" }));
    row.append(...(node.level === 1 ? patientParts(node) : studyParts(node)));
    if (node.level === 1 || siblings.length > 1) {
      row.append(element("span", { class: "count" }, countText(node)));
    }
    return row;
  }

  private seriesParts(series: Series): HTMLElement[] {
    const picture = this.thumbnails.of(series);
    const box = element("span", { class: "thumbnail" });
    if (picture) {
      box.append(picture);
    } else if (picture === null) {
      box.append("No picture");
    }
    box.dataset.picture = picture ? "shown" : picture === null ? "none" : "waiting";
    const facts = element("span", { class: "facts" }, `${counted(series.files, "file")}, ${sizeText(series.bytes)}`);
    const verdict = this.verdicts.of(series.id);
    const words = element(
      "span",
      { class: "words" },
      element("span", { class: "title", title: seriesTitle(series) }, ...titleParts(series)),
      " ",
      facts,
      " ",
      element("span", { class: "facts" }, verdict ? badge(verdict) : null),
    );
    return [box, words];
  }

  private refreshSeries(series: number): void {
    const index = this.rows.all.findIndex((node) => node.series?.id === series);
    this.rows.refreshRow(index);
  }

  /** Asks for the previews and verdicts of the series in view. */
  private lookAround(): void {
    const [first, end] = this.rows.inView();
    const series = this.rows.all.slice(first, end).flatMap((node) => (node.series ? [node.series] : []));
    this.thumbnails.want(series);
    this.verdicts.want(series);
  }

  private click(event: MouseEvent): void {
    const row = event.target instanceof globalThis.Element ? event.target.closest<HTMLElement>("[data-index]") : null;
    const node = this.rows.all[Number(row?.dataset.index ?? -1)];
    if (!node) {
      return;
    }
    this.setActive(node);
    if (node.series) {
      this.chooseNode(node);
    } else {
      this.fold(node, !this.isOpen(node));
    }
  }

  private press(event: KeyboardEvent): void {
    if (event.altKey || event.ctrlKey || event.metaKey || !this.active) {
      return;
    }
    const now = this.rows.all.indexOf(this.active);
    const last = this.rows.all.length - 1;
    const moves: Record<string, number> = {
      ArrowDown: now + 1,
      ArrowUp: now - 1,
      Home: 0,
      End: last,
      PageDown: now + this.rows.pageSize(),
      PageUp: now - this.rows.pageSize(),
    };
    const move = moves[event.key];
    if (move !== undefined) {
      this.goTo(Math.min(last, Math.max(0, move)));
    } else if (event.key === "ArrowRight" || event.key === "ArrowLeft") {
      this.openOrClose(this.active, event.key === "ArrowRight", now);
    } else if (event.key === "Enter" || (event.key === " " && this.typed === "")) {
      if (this.active.series) {
        this.chooseNode(this.active);
      } else {
        this.fold(this.active, !this.isOpen(this.active));
      }
    } else if (event.key.length === 1) {
      this.typeAhead(event.key, now);
    } else {
      return;
    }
    event.preventDefault();
  }

  private openOrClose(node: TreeNode, isRight: boolean, now: number): void {
    const isOpen = node.level < 3 && this.isOpen(node);
    if (isRight && node.level < 3) {
      if (isOpen) {
        this.goTo(now + 1);
      } else {
        this.fold(node, true);
      }
    } else if (!isRight && isOpen) {
      this.fold(node, false);
    } else if (!isRight && node.parent) {
      this.goTo(this.rows.all.indexOf(node.parent));
    }
  }

  /** Goes to the next row that begins with what is typed. */
  private typeAhead(key: string, now: number): void {
    this.typed += key.toLowerCase();
    this.forgetTyped.call();
    const rows = this.rows.all;
    for (let step = this.typed.length > 1 ? 0 : 1; step <= rows.length; ++step) {
      const index = (now + step) % rows.length;
      if (startOf(rows[index] as TreeNode).startsWith(this.typed)) {
        this.goTo(index);
        return;
      }
    }
  }

  private leaveSearch(event: KeyboardEvent): void {
    if (event.key === "Escape" && this.search.value !== "") {
      this.search.value = "";
      this.filter();
      event.preventDefault();
    } else if (event.key === "ArrowDown" || event.key === "Enter") {
      this.seek.cancel();
      this.filter();
      const first = this.rows.all.find((node) => node.series);
      if (this.found && first) {
        this.setActive(first);
      }
      this.box.focus();
      event.preventDefault();
    }
  }

  private fold(node: TreeNode, isOpen: boolean): void {
    const [set, isIn] = this.found ? [this.foldedInSearch, !isOpen] : [this.open, isOpen];
    if (isIn) {
      set.add(node);
    } else {
      set.delete(node);
    }
    this.update();
  }

  private goTo(index: number): void {
    const node = this.rows.all[index];
    if (node) {
      this.setActive(node);
      this.rows.reveal(index);
      this.tellActive();
    }
  }

  private setActive(node: TreeNode): void {
    const before = this.active;
    this.active = node;
    this.refreshNode(before);
    this.refreshNode(node);
    this.tellActive();
  }

  private refreshNode(node: TreeNode | null): void {
    if (node) {
      this.rows.refreshRow(this.rows.all.indexOf(node));
    }
  }

  private tellActive(): void {
    const index = this.active ? this.rows.all.indexOf(this.active) : -1;
    if (this.rows.elementOf(index)) {
      this.box.setAttribute("aria-activedescendant", `row-${index}`);
    } else {
      this.box.removeAttribute("aria-activedescendant");
    }
  }

  private chooseNode(node: TreeNode): void {
    const before = this.chosen;
    this.chosen = node;
    this.refreshNode(before);
    this.goTo(this.rows.all.indexOf(node));
    if (node.series) {
      this.onChoose?.(node.series);
    }
  }

  private tellLeftOut(leftOut: Tree["leftOut"]): void {
    const parts: HTMLElement[] = [];
    if (leftOut.skipped > 0) {
      const are = leftOut.skipped === 1 ? "is no DICOM" : "are no DICOM";
      parts.push(element("p", {}, `${counted(leftOut.skipped, "file")} ${are} and not shown.`));
    }
    if (leftOut.refused.length > 0) {
      const reasons = new Map<string, number>();
      leftOut.refused.forEach((reason) => reasons.set(reason, (reasons.get(reason) ?? 0) + 1));
      const list = [...reasons].map(([reason, count]) => element("li", {}, `${counted(count, "file")}: ${reason}`));
      const title = `${counted(leftOut.refused.length, "file")} cannot be read and ${
        leftOut.refused.length === 1 ? "is" : "are"
      } not shown. Why?`;
      parts.push(element("details", {}, element("summary", {}, title), element("ul", {}, ...list)));
    }
    byId("left-out").replaceChildren(...parts);
    byId("left-out").hidden = parts.length === 0;
  }
}

function patientParts(node: TreeNode): HTMLElement[] {
  const name = nameText(node.patient.name) || "No name";
  return [
    element(
      "span",
      { class: "words" },
      element("span", { class: "title", title: node.patient.name ?? "" }, name),
      " ",
      element("span", { class: "facts" }, node.patient.id ? `ID ${node.patient.id}` : "No ID"),
    ),
  ];
}

function studyParts(node: TreeNode): HTMLElement[] {
  const description = node.study?.description ?? "";
  return [
    element(
      "span",
      { class: "words line" },
      element("span", { class: "title" }, dateText(node.study?.date ?? null) || "No date"),
      " ",
      element("span", { class: "facts", title: description }, description),
    ),
  ];
}

/** With spaces between, for those who hear or copy it. */
function titleParts(series: Series): (HTMLElement | string | null)[] {
  const part = (name: string, text: string): HTMLElement | null =>
    text ? element("span", { class: name }, text) : null;
  return [
    part("modality", series.modality ?? ""),
    " ",
    part("number", series.number ? `#${series.number}` : ""),
    " ",
    part("description", series.description || "No description"),
  ];
}

function countText(node: TreeNode): string {
  return `${node.seriesCount.toLocaleString("en-GB")} series`;
}

function startOf(node: TreeNode): string {
  const text =
    node.level === 1
      ? nameText(node.patient.name)
      : node.level === 2
        ? dateText(node.study?.date ?? null)
        : (node.series?.description ?? "");
  return text.toLowerCase();
}
