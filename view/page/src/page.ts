// Wires the parts of the page together: what is chosen in the tree is shown by all others.
import { isSaved, openSource, paths, type Series, type SeriesInfo, type Tree } from "./api";
import { AttributeTable } from "./attributes";
import { choicesOf, type Choice } from "./choices";
import { setUpDivider } from "./divider";
import { byId, counted, element, sentenceOf } from "./dom";
import { PlacesView } from "./places";
import { StackView } from "./stack/StackView";
import { Tabs } from "./tabs";
import { seriesTitle } from "./texts";
import { setUpTheme } from "./theme";
import { SeriesTree } from "./tree";
import { summaryOf, VerdictView } from "./verdict";
import type { VolumeView } from "./volume";

class Page {
  private readonly source = openSource();
  private readonly tree = new SeriesTree(this.source);
  private readonly stack = new StackView(byId("slices"), this.source);
  private readonly attributes = new AttributeTable(byId("attributes"), this.source);
  private readonly verdict = new VerdictView(byId("verdict-words"));
  private readonly places = new PlacesView(byId("places-drawing"), byId("places-words"));
  private readonly tabs = new Tabs(byId("tabs"));
  private readonly choiceBox = byId("choices") as HTMLSelectElement;
  private volume: Promise<VolumeView> | null = null;
  private panel = "slices";
  private series: Series | null = null;
  private info: SeriesInfo | null = null;
  private choices: Choice[] = [];
  private choice: Choice | null = null;
  private volumeShown: Choice | null = null;
  private reading = new AbortController();

  constructor() {
    byId("tab-volume").hidden = isSaved(); // volumes are too large to be saved with the page
    setUpTheme(byId("theme"));
    setUpDivider(byId("divider"), byId("series"), byId("layout"));
    this.tree.onChoose = (series) => void this.showSeries(series);
    this.places.onGo = (index) => this.goToSlice(index);
    this.stack.onChange = (slice) => {
      this.places.mark(slice.index);
      if (this.series) {
        this.attributes.show(this.series.id, slice.file);
      }
    };
    this.tabs.onChange = (panel) => this.showPanel(panel);
    this.choiceBox.addEventListener("change", () =>
      this.showChoice(this.choices[this.choiceBox.selectedIndex] ?? null),
    );
    new ResizeObserver(() => this.resize()).observe(byId("main"));
  }

  async start(): Promise<void> {
    this.say(isSaved() ? "This page was saved with a part of the folder." : "Reading the list of series…");
    let tree: Tree;
    try {
      tree = await this.source.json<Tree>(paths.tree);
    } catch (error) {
      this.complain(sentenceOf(error));
      this.setState("refused");
      return;
    }
    const studies = tree.patients.flatMap((patient) => patient.studies);
    const series = studies.flatMap((study) => study.series);
    byId("contents").textContent =
      `${counted(tree.patients.length, "patient")}, ${counted(studies.length, "study", "studies")}, ` +
      counted(series.length, "series", "series");
    this.tree.show(tree);
    const { first } = this.tree;
    if (first) {
      this.tree.choose(first);
    } else {
      this.complain("The folder holds no DICOM series. Start radvex view with a folder that does.");
      this.setState("empty");
    }
  }

  private async showSeries(series: Series): Promise<void> {
    this.reading.abort();
    const reading = new AbortController();
    this.reading = reading;
    this.series = series;
    this.info = null;
    this.setChoices([]);
    byId("shown").textContent = seriesTitle(series);
    document.documentElement.dataset.series = String(series.id);
    this.setState("reading");
    this.tree.pauseVerdicts(true);
    this.verdict.wait();
    this.places.wait();
    this.forgetVolume();
    this.attributes.show(series.id, 0);
    this.stack.show({ series, info: null, order: [] });
    this.say(`Reading ${counted(series.files, "file")} of the series…`);
    try {
      const info = await this.source.json<SeriesInfo>(paths.series(series.id), reading.signal);
      if (reading.signal.aborted) {
        return;
      }
      this.info = info;
      this.tree.setVerdict(series.id, summaryOf(info));
      this.setChoices(choicesOf(info));
      this.showChoice(this.choices[0] ?? null);
      this.say("");
      this.setState("ready");
    } catch (error) {
      if (reading.signal.aborted) {
        return;
      }
      this.tree.setVerdict(series.id, { kind: "refused", words: "cannot be read" });
      this.verdict.refuse(sentenceOf(error));
      this.places.clear("Nothing is known about the places of its slices.");
      this.complain(sentenceOf(error));
      this.setState("refused");
    }
    this.tree.pauseVerdicts(false);
  }

  /** Whoever looks at the volume has asked for a slice, and sees it. */
  private goToSlice(index: number): void {
    if (this.panel === "volume") {
      this.tabs.choose("slices");
    }
    this.stack.goTo(index);
  }

  private setChoices(choices: Choice[]): void {
    this.choices = choices;
    this.choice = null;
    this.choiceBox.replaceChildren(...choices.map((choice) => element("option", {}, choice.name)));
    byId("choice").hidden = choices.length < 2;
  }

  private showChoice(choice: Choice | null): void {
    this.choice = choice;
    if (!this.series || !this.info) {
      return;
    }
    this.verdict.show(this.info, choice);
    this.places.show(this.info, choice);
    const { order = [], volume } = choice ?? {};
    this.stack.show({ series: this.series, info: this.info, order, shape: volume?.shape });
    if (this.panel === "volume") {
      void this.showVolume();
    }
  }

  private showPanel(panel: string): void {
    this.panel = panel;
    this.attributes.setActive(panel === "attributes");
    if (panel === "volume") {
      void this.showVolume();
    }
    this.resize();
  }

  private forgetVolume(): void {
    this.volumeShown = null;
    void this.volume?.then((view) => view.clear());
    if (this.panel === "volume") {
      this.noteVolume("The series is being read.");
    }
  }

  /** The volume is fetched when somebody looks at it. */
  private async showVolume(): Promise<void> {
    const choice = this.choice;
    if (!this.series || !this.info || !choice) {
      return this.noteVolume("The series is being read, or cannot be.");
    }
    if (choice.index === null) {
      void this.volume?.then((view) => view.clear());
      this.volumeShown = null;
      return this.noteVolume("These slices make no volume. The geometry says why.");
    }
    if (choice === this.volumeShown) {
      return;
    }
    this.volumeShown = choice;
    this.noteVolume("");
    try {
      this.volume ??= this.loadVolumeView();
      const view = await this.volume;
      if (this.volumeShown === choice) {
        await view.show(this.series.id, this.info.volumes, choice.index);
      }
    } catch (error) {
      if (this.volumeShown === choice) {
        this.volumeShown = null;
        this.noteVolume(sentenceOf(error));
        this.complain(sentenceOf(error));
      }
    }
  }

  private async loadVolumeView(): Promise<VolumeView> {
    try {
      const { VolumeView: View } = await import("./volume.js");
      const root = element("div", { id: "volume-view" });
      byId("volume").append(root);
      return new View(root, this.source);
    } catch {
      this.volume = null; // a later try may succeed
      throw new Error("The part of the page that shows volumes cannot be loaded. Is the server still running?");
    }
  }

  /** A sentence in place of the volume; empty: the volume itself. */
  private noteVolume(sentence: string): void {
    byId("volume-note").textContent = sentence;
    byId("volume-note").hidden = sentence === "";
  }

  private resize(): void {
    this.stack.resize();
    void this.volume?.then((view) => view.resize()).catch(() => undefined);
  }

  /** For tests: "reading", "ready", "refused" or "empty". */
  private setState(state: string): void {
    document.documentElement.dataset.state = state;
  }

  private say(sentence: string): void {
    byId("status").classList.remove("error");
    byId("status").textContent = sentence;
  }

  private complain(sentence: string): void {
    byId("status").classList.add("error");
    byId("status").textContent = sentence;
  }
}

void new Page().start();
