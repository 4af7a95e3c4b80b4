import type { Finding, SeriesInfo } from "./api";
import type { Choice } from "./choices";
import { counted, element, withStop } from "./dom";

/** The verdict on a series in a word or two. */
export interface Summary {
  kind: "fit" | "remarks" | "errors" | "none" | "refused";
  words: string;
}

const kMarks: Record<Summary["kind"], string> = { fit: "✓", remarks: "i", errors: "!", none: "–", refused: "×" };

/** A mark and words, so that the colour does not have to say it. */
export function badge(summary: Summary): HTMLElement {
  return element(
    "span",
    { class: `badge ${summary.kind}`, "data-verdict": summary.kind },
    element("span", { class: "mark", "aria-hidden": "true" }, kMarks[summary.kind]),
    summary.words,
  );
}

export function summaryOf(info: SeriesInfo): Summary {
  const findings = [...info.findings, ...info.volumes.flatMap((volume) => volume.findings)];
  return summary(findings, info.volumes.length > 0);
}

function summary(findings: Finding[], hasVolume: boolean): Summary {
  const errors = findings.filter((finding) => finding.error).length;
  if (errors > 0) {
    return { kind: "errors", words: counted(errors, "error") };
  }
  if (!hasVolume) {
    return { kind: "none", words: "no volume" };
  }
  const remarks = findings.length;
  return remarks > 0
    ? { kind: "remarks", words: counted(remarks, "remark") }
    : { kind: "fit", words: "fit for a volume" };
}

/** What the server says of the geometry of a series, in sentences. */
export class VerdictView {
  constructor(private readonly root: HTMLElement) {}

  wait(): void {
    this.fill("reading", element("p", { class: "muted" }, "The series is being read."));
  }

  refuse(sentence: string): void {
    const words = element("p", { class: "headline" }, badge({ kind: "refused", words: "The series cannot be read" }));
    this.fill("refused", words, element("p", {}, sentence));
  }

  /** Findings of the series concern all its volumes; to them come those of the chosen volume. */
  show(info: SeriesInfo, choice: Choice | null): void {
    const findings = [...info.findings, ...(choice?.volume?.findings ?? [])];
    findings.sort((one, other) => Number(other.error) - Number(one.error));
    const { kind } = summary(findings, choice?.volume != null);
    const headline: Record<Summary["kind"], string> = {
      fit: "Fit for a volume",
      remarks: "A volume, with remarks",
      errors: info.volumes.length > 0 ? "No volume can be trusted" : "No volume can be made of this series",
      none: info.volumes.length > 0 ? "These slices belong to no volume" : "No volume can be made of this series",
      refused: "",
    };
    this.fill(
      kind,
      element("p", { class: "headline" }, badge({ kind, words: headline[kind] })),
      ...(findings.length > 0 ? [element("ul", { class: "findings" }, ...findings.map(findingItem))] : []),
    );
  }

  private fill(state: string, ...children: HTMLElement[]): void {
    this.root.dataset.verdict = state;
    this.root.replaceChildren(...children);
  }
}

function findingItem(finding: Finding): HTMLElement {
  const item = element(
    "li",
    { class: finding.error ? "finding is-error" : "finding", "data-kind": finding.kind },
    element("span", { class: "rank" }, finding.error ? "Error" : "Remark"),
    " ",
    element("span", {}, withStop(finding.sentence)),
  );
  if (typeof finding.files === "number") {
    if (finding.files > 0) {
      item.append(" ", element("span", { class: "muted" }, `(${finding.files.toLocaleString("en-GB")} affected)`));
    }
  } else if (finding.files.length > 0) {
    const names = element("ul", {}, ...finding.files.map((file) => element("li", {}, file)));
    item.append(element("details", {}, element("summary", {}, `${finding.files.length} affected`), names));
  }
  return item;
}
