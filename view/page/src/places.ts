import type { SeriesInfo, Slice } from "./api";
import type { Choice } from "./choices";
import { counted, element, setAttributes } from "./dom";
import { placeSlices, volumesIn, type Place, type Placing } from "./placing";
import { drawPlaces, type Drawing } from "./placesDrawing";
import { lengthText } from "./texts";

const kListed = 5; // gaps and doubles in words

/** Where the slices lie along their normal: a drawing that is also a slider, and what is to be said about it. */
export class PlacesView {
  onGo: ((index: number) => void) | null = null;
  private slices: Slice[] = []; // in the order
  private tiltDegrees: number | null = null;
  private volumes = 1;
  private volume = -1; // of which the places are drawn
  private index = 0;
  private placing: Placing | null = null;
  private rankOf = new Map<number, number>(); // index in the order -> place
  private drawing: Drawing | null = null;
  private readonly caption = element("p", { class: "caption" });
  private readonly facts = element("div");

  constructor(
    private readonly root: HTMLElement,
    words: HTMLElement,
  ) {
    words.append(this.caption, this.facts);
    new ResizeObserver(() => this.draw()).observe(root);
    root.addEventListener("keydown", (event) => this.press(event));
    root.addEventListener("pointerdown", (event) => this.point(event, true));
    root.addEventListener("pointermove", (event) => this.point(event, false));
  }

  wait(): void {
    this.clear("The series is being read.");
  }

  clear(sentence: string): void {
    this.slices = [];
    this.placing = null;
    this.volume = -1;
    this.index = 0;
    this.draw();
    this.caption.textContent = sentence;
    this.facts.replaceChildren();
  }

  show(info: SeriesInfo, choice: Choice | null): void {
    const order = choice?.order ?? [];
    this.slices = order.flatMap((index) => info.slices[index] ?? []);
    this.tiltDegrees = choice?.volume?.tiltDegrees ?? null;
    this.volumes = volumesIn(choice?.volume ?? null, order, this.slices[0]?.rows ?? 0);
    this.volume = -1;
    this.mark(0);
  }

  /** Marks the slice that is shown, by its index in the order. */
  mark(index: number): void {
    this.index = index;
    if (this.slices.length === 0) {
      return;
    }
    const each = this.slices.length / this.volumes;
    const volume = Math.min(this.volumes - 1, Math.floor(index / each));
    if (volume !== this.volume) {
      this.volume = volume;
      this.placing = placeSlices(this.slices.slice(volume * each, (volume + 1) * each), volume * each);
      this.rankOf = new Map(this.placing.places.map((place, rank) => [place.index, rank]));
      this.describe();
      this.draw();
    }
    this.markShown();
  }

  private get shownPlace(): Place | null {
    return this.placing?.places[this.rankOf.get(this.index) ?? -1] ?? null;
  }

  private get canBeDrawn(): boolean {
    return this.placing !== null && this.placing.places.length > 0 && this.placing.areParallel;
  }

  private draw(): void {
    this.drawing = null;
    this.root.replaceChildren();
    this.root.hidden = !this.canBeDrawn;
    const { clientWidth: width, clientHeight: height } = this.root;
    if (!this.placing || !this.canBeDrawn || width < 60 || height < 50) {
      this.root.dataset.state = "empty";
      return;
    }
    this.drawing = drawPlaces(this.placing, this.tiltDegrees, width, height);
    setAttributes(this.drawing.svg, {
      id: "places-slider",
      role: "slider",
      tabindex: "0",
      "aria-label": "Place of the shown slice",
      "aria-orientation": height >= width ? "vertical" : "horizontal",
      "aria-valuemin": 1,
      "aria-valuemax": this.placing.places.length,
      "data-ticks": this.placing.places.length,
      "data-gaps": this.placing.gaps.length,
      "data-doubles": this.placing.doubles.length,
      "data-tilt": this.tiltDegrees,
    });
    this.root.append(this.drawing.svg);
    this.root.dataset.state = "ready";
    this.markShown();
  }

  private markShown(): void {
    const place = this.shownPlace;
    const each = this.slices.length / this.volumes;
    const number = this.volumes > 1 ? (this.index % each) + 1 : this.index + 1;
    const at = place && this.placing?.areParallel ? ` at ${lengthText(place.height)} mm` : ", which has no place here";
    const inVolume = this.volumes > 1 ? `, volume ${this.volume + 1} of ${this.volumes}` : "";
    const text = `Slice ${number} of ${each}${inVolume}${at}`;
    if (this.canBeDrawn) {
      this.caption.textContent = text;
    }
    this.drawing?.mark(place);
    if (this.drawing) {
      setAttributes(this.drawing.svg, {
        "aria-valuenow": (this.rankOf.get(this.index) ?? 0) + 1,
        "aria-valuetext": text,
        "data-shown": this.index,
      });
    }
  }

  private describe(): void {
    const placing = this.placing as Placing;
    const { places, usual, unplaced } = placing;
    this.caption.textContent = "";
    if (places.length === 0) {
      const subject = this.slices.length === 1 ? "The slice has" : "The slices have";
      const order = this.slices.length === 1 ? "" : " Only their order is known.";
      this.facts.replaceChildren(element("p", {}, `${subject} no position in the patient.${order}`));
      return;
    }
    const lines: (string | HTMLElement)[] = [];
    if (!placing.areParallel) {
      lines.push("The slices are not parallel, so there is no line along which they lie.");
    } else if (places.length > 1) {
      const low = lengthText((places[0] as Place).height);
      const high = lengthText((places.at(-1) as Place).height);
      const count = counted(places.length, "slice");
      lines.push(`${count} from ${low} to ${high} mm along their normal${spacingText(placing)}.`);
      if (this.tiltDegrees !== null) {
        const tilt = lengthText(this.tiltDegrees);
        lines.push(`The stack is tilted by ${tilt}° (gantry tilt); the slices are drawn slanted.`);
      }
      lines.push(...this.gapLines(placing, usual), ...this.doubleLines(placing));
    } else {
      lines.push("One slice has no neighbours.");
    }
    if (unplaced > 0) {
      const are = unplaced === 1 ? "is" : "are";
      lines.push(`${counted(unplaced, "slice has", "slices have")} no position and ${are} not drawn.`);
    }
    this.facts.replaceChildren(...lines.map((line) => (typeof line === "string" ? element("p", {}, line) : line)));
  }

  private gapLines(placing: Placing, usual: number | null): HTMLElement[] {
    return this.listed(
      placing.gaps.map((gap) => {
        const [below, above] = [placing.places[gap.below] as Place, placing.places[gap.above] as Place];
        const numbers = [this.numberOf(below), this.numberOf(above)].sort((one, other) => one - other);
        const size = `${lengthText(gap.size)} mm`;
        const text = `Gap: ${size} between slices ${numbers.join(" and ")}, usual ${lengthText(usual ?? 0)} mm`;
        return { text, index: below.index };
      }),
      "gap",
    );
  }

  private doubleLines(placing: Placing): HTMLElement[] {
    return this.listed(
      placing.doubles.map((double) => {
        const places = placing.places.slice(double.first, double.last + 1);
        const numbers = places.map((place) => this.numberOf(place)).join(", ");
        const where = double.sideways > 0.01 ? `height, ${lengthText(double.sideways)} mm apart sideways` : "position";
        return { text: `Double: slices ${numbers} lie at one ${where}`, index: (places[0] as Place).index };
      }),
      "double",
    );
  }

  private listed(found: { text: string; index: number }[], kind: string): HTMLElement[] {
    const lines: HTMLElement[] = found.slice(0, kListed).map(({ text, index }) => {
      const button = element(
        "button",
        { type: "button", class: "go", "data-kind": kind, title: "Show this slice" },
        text,
      );
      button.addEventListener("click", () => this.onGo?.(index));
      return button;
    });
    if (found.length > kListed) {
      lines.push(element("p", {}, `And ${counted(found.length - kListed, `more ${kind}`)}.`));
    }
    return lines;
  }

  private numberOf(place: Place): number {
    return (place.index % (this.slices.length / this.volumes)) + 1;
  }

  private point(event: PointerEvent, isStart: boolean): void {
    const svg = this.drawing?.svg;
    if (!svg || !this.drawing || (isStart ? event.button !== 0 : !this.root.hasPointerCapture(event.pointerId))) {
      return;
    }
    if (isStart) {
      this.root.setPointerCapture(event.pointerId);
      svg.focus({ preventScroll: true });
      event.preventDefault();
    }
    const box = svg.getBoundingClientRect();
    const nearest = this.nearest(this.drawing.heightAt(event.clientX - box.left, event.clientY - box.top), isStart);
    if (nearest && nearest.index !== this.index) {
      this.onGo?.(nearest.index);
    }
  }

  /** The place at a height. A second click on a double goes to the next slice there. */
  private nearest(height: number, isClick: boolean): Place | null {
    const places = this.placing?.places ?? [];
    let best = 0;
    places.forEach((place, rank) => {
      if (Math.abs(place.height - height) < Math.abs((places[best] as Place).height - height) - 0.01) {
        best = rank;
      }
    });
    const double = this.placing?.doubles.find((each) => each.first <= best && best <= each.last);
    const shown = this.rankOf.get(this.index) ?? -1;
    if (double && shown >= double.first && shown <= double.last) {
      best = isClick ? (shown < double.last ? shown + 1 : double.first) : shown;
    }
    return places[best] ?? null;
  }

  private press(event: KeyboardEvent): void {
    const last = (this.placing?.places.length ?? 0) - 1;
    const now = this.rankOf.get(this.index) ?? -1;
    const moves: Record<string, number> = {
      ArrowUp: now + 1,
      ArrowRight: now + 1,
      ArrowDown: now - 1,
      ArrowLeft: now - 1,
      PageUp: now + 10,
      PageDown: now - 10,
      Home: 0,
      End: last,
    };
    const move = moves[event.key];
    if (move !== undefined && last >= 0 && !event.altKey && !event.ctrlKey && !event.metaKey) {
      const place = this.placing?.places[Math.min(last, Math.max(0, move))];
      if (place) {
        this.onGo?.(place.index);
      }
      event.preventDefault();
    }
  }
}

function spacingText({ usual, smallest, largest }: Placing): string {
  if (usual === null || smallest === null || largest === null) {
    return "";
  }
  const isEven = largest - smallest <= Math.max(0.01, 0.001 * usual);
  return isEven
    ? `, ${lengthText(usual)} mm apart`
    : `, most ${lengthText(usual)} mm apart (${lengthText(smallest)} to ${lengthText(largest)})`;
}
