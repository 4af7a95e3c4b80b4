import type { Element } from "./api";
import { counted } from "./dom";

/** A row of the table: an attribute, or an item of a sequence. */
export interface AttributeRow {
  key: string; // tags and numbers of items on the way to it; the same in other files
  level: number; // from 1
  element: Element | null; // null: an item
  item: number; // from 1
  inside: number; // items of a sequence, or elements of an item
}

/** "0010_0010" as "(0010,0010)". */
export function tagText(tag: string): string {
  return `(${tag.replace("_", ",").toUpperCase()})`;
}

/** The keyword, or the creator of a private element. */
export function nameOf(element: Element): string {
  if (element.keyword !== "") {
    return element.keyword;
  }
  return element.creator ? `[${element.creator}]` : "";
}

export function valueOf(element: Element): string {
  return element.items ? counted(element.items.length, "item") : (element.value ?? "");
}

/** What a de-identification does with it. */
export function actionOf(element: Element): string {
  return element.action || "kept";
}

const kTexts = new WeakMap<Element, string>();

/** What a search looks at: all that the row shows, in small letters. */
function textOf(element: Element): string {
  let text = kTexts.get(element);
  if (text === undefined) {
    const parts = [tagText(element.tag), nameOf(element), element.creator ?? "", element.vr, valueOf(element)];
    parts.push(actionOf(element));
    text = parts.join("\n").toLowerCase();
    kTexts.set(element, text);
  }
  return text;
}

/** The rows that are seen when these sequences and items are open. */
export function openRows(elements: Element[], open: ReadonlySet<string>): AttributeRow[] {
  const rows: AttributeRow[] = [];
  addRows(rows, elements, "", 1, (key) => open.has(key));
  return rows;
}

function addRows(
  rows: AttributeRow[],
  elements: Element[],
  path: string,
  level: number,
  isOpen: (key: string) => boolean,
): void {
  for (const element of elements) {
    const row = elementRow(element, path, level);
    rows.push(row);
    if (element.items && isOpen(row.key)) {
      element.items.forEach((item, index) => {
        const itemRow = rowOfItem(item, row, index);
        rows.push(itemRow);
        if (isOpen(itemRow.key)) {
          addRows(rows, item, itemRow.key, level + 2, isOpen);
        }
      });
    }
  }
}

/**
 * The rows in which all words occur, with what is above them.
 * @param open  sequences and items of which everything is seen
 * @param closed  those of which nothing is seen
 * @returns the rows, the keys of those that are open, and how many were found
 */
export function foundRows(
  elements: Element[],
  query: string,
  open: ReadonlySet<string>,
  closed: ReadonlySet<string>,
): { rows: AttributeRow[]; open: Set<string>; hits: number } {
  const words = query.toLowerCase().split(/\s+/).filter((word) => word !== "");
  const opened = new Set<string>();
  let hits = 0;
  const search = (inside: Element[], path: string, level: number, isWhole: boolean): AttributeRow[] => {
    const rows: AttributeRow[] = [];
    for (const element of inside) {
      const row = elementRow(element, path, level);
      const text = textOf(element);
      const isHit = words.every((word) => text.includes(word));
      hits += Number(isHit);
      const before = hits;
      const below: AttributeRow[] = [];
      (element.items ?? []).forEach((item, index) => {
        const itemRow = rowOfItem(item, row, index);
        const beforeItem = hits;
        const found = search(item, itemRow.key, level + 2, open.has(itemRow.key));
        if (hits > beforeItem || open.has(row.key)) {
          below.push(itemRow);
          if ((hits > beforeItem || open.has(itemRow.key)) && !closed.has(itemRow.key)) {
            opened.add(itemRow.key);
            found.forEach((each) => below.push(each));
          }
        }
      });
      if (isWhole || isHit || hits > before) {
        rows.push(row);
        if ((hits > before || open.has(row.key)) && !closed.has(row.key)) {
          opened.add(row.key);
          below.forEach((each) => rows.push(each));
        }
      }
    }
    return rows;
  };
  const rows = search(elements, "", 1, false);
  return { rows, open: opened, hits };
}

function elementRow(element: Element, path: string, level: number): AttributeRow {
  return { key: `${path}/${element.tag}`, level, element, item: 0, inside: element.items?.length ?? 0 };
}

function rowOfItem(item: Element[], sequence: AttributeRow, index: number): AttributeRow {
  return {
    key: `${sequence.key}[${index + 1}]`,
    level: sequence.level + 1,
    element: null,
    item: index + 1,
    inside: item.length,
  };
}
