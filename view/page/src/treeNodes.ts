import type { Patient, Series, Study, Tree } from "./api";
import { dateText, nameText, sizeText } from "./texts";

/** A row of the tree. */
export interface TreeNode {
  level: 1 | 2 | 3;
  patient: Patient;
  study: Study | null;
  series: Series | null;
  parent: TreeNode | null;
  children: TreeNode[];
  text: string; // what a search looks at, in small letters
  place: number; // among the children of its parent, from 1
  seriesCount: number;
}

const kOrder = new Intl.Collator("en-GB", { numeric: true });

/** Sorted by a text in which numbers count as numbers; what has none comes last. */
function sorted<Thing>(things: Thing[], textOf: (thing: Thing) => string): Thing[] {
  const texts = new Map(things.map((thing) => [thing, textOf(thing)]));
  const compare = (one: string, other: string): number =>
    Number(one === "") - Number(other === "") || kOrder.compare(one, other);
  return [...things].sort((one, other) => compare(texts.get(one) ?? "", texts.get(other) ?? ""));
}

/** The patients of a tree by name, their studies by date, series by number. */
export function nodesOf(tree: Tree): TreeNode[] {
  return numbered(
    sorted(tree.patients, (patient) => nameText(patient.name)).map((patient) => {
      const node = nodeOf(1, patient, null, null, null, [patient.name, nameText(patient.name), patient.id]);
      const studies = sorted(patient.studies, (study) => dateText(study.date));
      node.children = numbered(studies.map((study) => studyNode(node, study)));
      node.seriesCount = node.children.reduce((sum, child) => sum + child.seriesCount, 0);
      return node;
    }),
  );
}

function studyNode(parent: TreeNode, study: Study): TreeNode {
  const node = nodeOf(2, parent.patient, study, null, parent, [study.date, dateText(study.date), study.description]);
  node.children = numbered(
    sorted(study.series, (series) => series.number ?? "").map((series) =>
      nodeOf(3, parent.patient, study, series, node, [
        series.number && `#${series.number}`,
        series.modality,
        series.description,
        `${series.files} ${series.files === 1 ? "file" : "files"}`,
        sizeText(series.bytes),
      ]),
    ),
  );
  node.seriesCount = node.children.length;
  return node;
}

function nodeOf(
  level: 1 | 2 | 3,
  patient: Patient,
  study: Study | null,
  series: Series | null,
  parent: TreeNode | null,
  texts: (string | null)[],
): TreeNode {
  const text = texts.filter((each) => each).join("\n").toLowerCase();
  return { level, patient, study, series, parent, children: [], text, place: 1, seriesCount: 1 };
}

function numbered(nodes: TreeNode[]): TreeNode[] {
  nodes.forEach((node, index) => {
    node.place = index + 1;
  });
  return nodes;
}

/** Series in whose row, or in that of their study or patient, all words occur; `extra` is what else a row shows. */
export function seriesWith(roots: TreeNode[], query: string, extra: (series: Series) => string): Set<TreeNode> {
  const words = query.toLowerCase().split(/\s+/).filter((word) => word !== "");
  const found = new Set<TreeNode>();
  const visit = (nodes: TreeNode[], missing: string[]): void => {
    for (const node of nodes) {
      const text = node.series ? `${node.text}\n${extra(node.series)}` : node.text;
      const still = missing.filter((word) => !text.includes(word));
      if (!node.series) {
        visit(node.children, still);
      } else if (still.length === 0) {
        found.add(node);
      }
    }
  };
  visit(roots, words);
  return found;
}

/** The nodes with everything above them. */
export function withParents(nodes: Iterable<TreeNode>): Set<TreeNode> {
  const all = new Set<TreeNode>();
  for (const node of nodes) {
    for (let each: TreeNode | null = node; each && !all.has(each); each = each.parent) {
      all.add(each);
    }
  }
  return all;
}
