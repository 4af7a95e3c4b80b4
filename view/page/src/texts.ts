// How values of attributes are written for people.
import type { Patient, Series, Study } from "./api";

/** "Doe^Jane^Ann" as "Doe, Jane Ann". Other representations of the name follow it. */
export function nameText(name: string | null): string {
  const groups = (name ?? "").split("=").map((group) => {
    const [family = "", ...others] = group.split("^").map((part) => part.trim());
    const rest = others.filter((part) => part !== "").join(" ");
    return family !== "" && rest !== "" ? `${family}, ${rest}` : family + rest;
  });
  return groups.filter((group) => group !== "").join("=");
}

/** "20240131", or "2024.01.31" of old files, as "2024-01-31"; what is no such date stays as it is. */
export function dateText(date: string | null): string {
  const parts = /^(\d{4})(\.?)(\d{2})\2(\d{2})$/.exec(date ?? "");
  return parts ? `${parts[1]}-${parts[3]}-${parts[4]}` : (date ?? "");
}

/** "999 B", "12 KB", "3.4 MB"; a KB has 1000 bytes. */
export function sizeText(bytes: number): string {
  const units = ["B", "KB", "MB", "GB", "TB"];
  let size = bytes;
  let unit = 0;
  while (unit < units.length - 1 && Math.round(size) >= 1000) {
    size /= 1000;
    ++unit;
  }
  return `${unit > 0 && size < 9.95 ? size.toFixed(1) : Math.round(size)} ${units[unit]}`;
}

/** A length in mm with as many digits as matter. */
export function lengthText(millimetres: number): string {
  const digits = Math.abs(millimetres) >= 100 ? 1 : Math.abs(millimetres) >= 1 ? 2 : 3;
  const rounded = Number(millimetres.toFixed(digits));
  return String(rounded === 0 ? 0 : rounded).replace("-", "−");
}

export function patientTitle(patient: Patient): string {
  return nameText(patient.name) || "No name";
}

export function studyTitle(study: Study): string {
  return [dateText(study.date) || "No date", study.description ?? ""].filter((part) => part !== "").join("  ");
}

export function seriesTitle(series: Series): string {
  const number = series.number ? `#${series.number}` : "";
  const parts = [number, series.modality ?? "", series.description || "No description"];
  return parts.filter((part) => part !== "").join("  ");
}
