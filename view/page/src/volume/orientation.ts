// Directions in the patient, and how the page writes them.

import type { Triple } from "../api";
import { dot, unitOf, type Nifti } from "./nifti";

const letters = [["L", "R"], ["P", "A"], ["S", "I"]] as const; // towards larger and smaller LPS coordinates
const least = 0.1; // of a unit vector: parts that turn the direction by less than 6 degrees get no letter

/** "L", or "LA" for a direction in between; the largest part first. */
export function lettersOf(direction: Triple): string {
  return unitOf(direction)
    .map((part, axis) => ({ size: Math.abs(part), letter: letters[axis]?.[part > 0 ? 0 : 1] ?? "" }))
    .filter(({ size }) => size > least)
    .sort((a, b) => b.size - a.size)
    .map(({ letter }) => letter)
    .join("");
}

export function opposite(direction: Triple): Triple {
  return [-direction[0], -direction[1], -direction[2]];
}

/** "L 12.3 P 40.0 S -5.5 mm" */
export function positionText(position: Triple): string {
  const [left, posterior, superior] = position.map((part) => part.toFixed(1).replace(/^-0\.0$/, "0.0"));
  return `L ${left} P ${posterior} S ${superior} mm`;
}

/** The largest angle between an axis of the volume and the axis of the patient that it is drawn as, in degrees. */
export function tiltOf(nifti: Nifti): number {
  const angles = nifti.steps.map((step) => degrees(Math.max(...unitOf(step).map(Math.abs))));
  return Math.max(...angles);
}

/** How far the axes of the volume are from right angles, in degrees. */
export function shearOf(nifti: Nifti): number {
  const [a, b, c] = nifti.steps.map(unitOf) as [Triple, Triple, Triple];
  return 90 - degrees(Math.max(Math.abs(dot(a, b)), Math.abs(dot(a, c)), Math.abs(dot(b, c))));
}


function degrees(cosine: number): number {
  return (Math.acos(Math.min(1, cosine)) * 180) / Math.PI;
}

/** What has to be said about planes that are not those of the patient; nothing if they are. */
export function geometryRemarks(nifti: Nifti): string[] {
  if (!nifti.hasPosition) {
    return ["Where this volume lies in the patient is not known: neither its sides nor its position, and distances " +
      "across the slices may be wrong."];
  }
  const remarks: string[] = [];
  const tilt = tiltOf(nifti);
  if (tilt > 1) {
    remarks.push(`The volume is turned by ${tilt.toFixed(1)}° against the patient. The planes follow the volume, not ` +
      "the patient; positions are those in the patient.");
  }
  const shear = shearOf(nifti);
  if (shear > 0.5) {
    remarks.push(`The slices are shifted against each other, as with a tilted gantry: axes are ${shear.toFixed(1)}° ` +
      "off a right angle. The planes across the slices are drawn as if they were not, so do not measure there.");
  }
  return remarks;
}
