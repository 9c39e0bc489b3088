// The page: what the feed tells goes to the cards, the curves and the log.

import { Cards } from "./cards.js";
import { Commands } from "./commands.js";
import { Data } from "./data.js";
import { documentText, follow } from "./feed.js";
import { Log } from "./log.js";
import { MOST_COLUMNS, Plots } from "./plots.js";
import { save, tableOf } from "./table.js";
import { showTree } from "./tree.js";
import { endingWords } from "./words.js";

const at = (id) => document.getElementById(id);
const LEAST_FRAME = 16;  // milliseconds: a screen shows no more pictures
const LEAST_TURNS = 2;  // so that a curve moves some thirty times a second
const LEAST_COLUMNS = MOST_COLUMNS / 4;

// The span of time that all curves show, and the cursor.
class View {
  constructor() {
    this.length = 10;     // seconds; 0: all
    this.span = null;     // [from, to] where it does not follow what comes
    this.cursor = null;
    this.isDirty = true;
  }

  didChange() { this.isDirty = true; }

  setCursor(time) {
    this.cursor = time;
    this.didChange();
  }

  zoomTo(from, to) {
    this.span = [from, to];
    this.didChange();
  }

  follow() {
    this.span = null;
    this.didChange();
  }

  shown(now) {
    return this.span ?? [this.length === 0 ? 0 : now - this.length, Math.max(now, 0.1)];
  }

  shift(share, now) {
    const [from, to] = this.shown(now);
    const step = (to - from) * share;
    this.zoomTo(from + step, to + step);
  }
}

class Page {
  constructor() {
    this.data = new Data();
    this.view = new View();
    this.plots = new Plots(at("plots"), this.data, this.view);
    this.cards = new Cards(at("cards"));
    this.commands = new Commands(at("commands"));
    this.log = new Log(at("lines"), at("filter"), at("matches"));
    this.state = null;
    this.session = null;
    this.connection = "connecting";
    this.clock = null;      // {at, arrived}: the session's time in microseconds when it arrived
    this.expected = null;   // values that there were before the next line
    this.missed = 0;
    this.received = 0;
    this.documents = 0;
    this.drawn = 0;
    this.nextFrame = 0;
    this.painted = new MessageChannel();
    this.turns = LEAST_TURNS;     // pictures in which each plot that moves is drawn once
    this.columns = MOST_COLUMNS;  // of a plot that moves
    this.pictures = 0;      // that are there to be seen
    this.sinceChange = [];  // costs of moving pictures
    this.areFactsDue = false;
    this.frames = [];       // milliseconds between pictures, the latest thousand
    this.costs = [];        // milliseconds until they were painted, the latest thousand
    this.connectControls();
    requestAnimationFrame((time) => this.frame(time));
    setInterval(() => this.didPassTime(), 250);
  }

  // Microseconds since the session began, as far as the page can know.
  now() {
    if (!this.clock) return 0;
    if (this.state?.endCode !== undefined) return this.state.endedAt;
    const since = Math.min(performance.now() - this.clock.arrived, 1500);
    return this.clock.at + since * 1000;
  }

  take(line) {
    this.countMissed(line);
    if (line.at === undefined) return;
    this.data.take(line);
    this.received += line.values;
    if (line.log) this.log.take(line.log);
    this.clock = { at: line.at, arrived: performance.now() };
    if (line.state) {
      this.state = line.state;
      this.session = line.session;
      this.cards.rates.take(line.at, line.state.streams);
      if (line.session.documents !== this.documents) this.fetchDocument(line.session.documents);
      if (line.state.endCode !== undefined) this.showFacts();
    }
    this.view.didChange();
  }

  countMissed({ before, values = 0 }) {
    if (this.expected !== null && before > this.expected) this.missed += before - this.expected;
    this.expected = before + values;
  }

  async fetchDocument(number) {
    this.documents = number;
    const text = await documentText();
    at("document").hidden = false;
    showTree(at("tree"), text);
  }

  get isMoving() {
    return !this.view.span && this.connection === "open" && this.state?.endCode === undefined;
  }

  // While curves move, the facts have a picture of their own: a picture with both would be late.
  didPassTime() {
    if (this.isMoving && !document.hidden) this.areFactsDue = true;
    else this.showFacts();
  }

  frame(time) {
    requestAnimationFrame((next) => this.frame(next));
    if (time < this.nextFrame) return;
    const { isMoving } = this;
    if (!isMoving && !this.view.isDirty) return;
    this.frames.push(time - this.drawn);
    if (this.frames.length > 1000) this.frames.shift();
    this.drawn = time;
    this.view.isDirty = false;
    this.plots.addMissing();
    at("empty").hidden = this.plots.plots.size > 0;
    const [from, to] = this.view.shown(this.now() / 1e6);
    const begin = performance.now();
    // What stands still has all its detail, however long it takes.
    const isOfCurves = isMoving && !this.areFactsDue;
    if (!isMoving) this.plots.draw(from, to, this.view.cursor, MOST_COLUMNS);
    else if (this.areFactsDue) this.showFacts();
    else this.plots.drawNext(this.turns, from, to, this.view.cursor, this.columns);
    // The browser paints after this, and without a graphics processor that is most of the work. What
    // is asked for here comes when it has painted.
    this.nextFrame = Infinity;
    this.painted.port1.onmessage = () => this.didPaint(performance.now() - begin, isOfCurves);
    this.painted.port2.postMessage(null);
    const isFollowing = this.view.span === null;
    at("live").hidden = isFollowing;
    at("pause").setAttribute("aria-pressed", String(!isFollowing));
    at("pause").textContent = isFollowing ? "Pause" : "Go on";
  }

  // A picture that takes long leaves about half of the time to everything else, and the page stays
  // usable.
  didPaint(cost, isOfCurves) {
    this.pictures += 1;
    this.costs.push(cost);
    if (this.costs.length > 1000) this.costs.shift();
    if (isOfCurves) this.adapt(cost);
    const excess = Math.max(0, cost - LEAST_FRAME / 2);
    this.nextFrame = Math.max(this.drawn + LEAST_FRAME / 2, performance.now() + excess);
  }

  // On a slow or busy machine each picture draws fewer of the plots, and if that is not enough they
  // get coarser, in few steps, since each makes the curves jump. By the costs since the last change:
  // one slow picture says nothing.
  adapt(cost) {
    this.sinceChange.push(cost);
    if (this.sinceChange.length < 9) return;
    const usual = this.sinceChange.sort((a, b) => a - b)[4];
    this.sinceChange = [];
    if (usual > LEAST_FRAME / 2) {
      if (this.turns < this.plots.inSight.length) this.turns *= 2;
      else if (this.columns > LEAST_COLUMNS) this.columns /= 2;
    } else if (usual < LEAST_FRAME / 5) {
      if (this.columns < MOST_COLUMNS) this.columns *= 2;
      else if (this.turns > LEAST_TURNS) this.turns /= 2;
    }
  }

  showFacts() {
    this.areFactsDue = false;
    this.showStatus();
    this.plots.showValues(this.view.cursor, this.view.shown(this.now() / 1e6)[1]);
    if (!this.state) return;
    this.cards.show(this.state, this.session, this.now(), this.missed);
    this.commands.show(this.state, this.session, this.connection === "open");
    at("counts").textContent = `${this.received} values on this page` +
      (this.missed > 0 ? `, ${this.missed} missed` : "") +
      (this.state.version ? ` · Vornix ${this.state.version}` : "");
    this.showRecording();
  }

  showRecording() {
    const { record, recordFailure } = this.session;
    at("recording").hidden = !record;
    at("recording").dataset.kind = recordFailure ? "bad" : "good";
    at("recording").textContent = recordFailure ? "not recording"
      : this.state.endCode !== undefined ? "recorded" : "recording";
    at("recording").title = record;
  }

  showStatus() {
    const notices = [];
    let word = { open: "live", connecting: "connecting", lost: "connection lost",
      refused: "not let in", full: "too many pages" }[this.connection];
    let kind = { open: "good", connecting: "wait" }[this.connection] ?? "bad";
    if (this.state?.endCode !== undefined) {
      const { headline, advice, isFault } = endingWords(this.state);
      word = "ended";
      kind = isFault ? "bad" : "off";
      notices.push([headline, advice, kind]);
    } else if (this.connection === "refused") {
      notices.push(["This address is not the session's.",
        "Open the address that vornix-scope has printed, all of it; each start has a new one.", "bad"]);
    } else if (this.connection === "full") {
      notices.push(["Too many pages are open.", "Close one of them.", "bad"]);
    } else if (this.connection === "lost") {
      notices.push(["The scope does not answer.",
        "It has ended, or was ended. What is here stays until you close the page.", "bad"]);
    }
    if (this.session?.recordFailure) {
      notices.push(["The recording has ended, the session goes on.",
        `${this.session.recordFailure}. What was recorded before is whole.`, "bad"]);
    }
    at("status").textContent = word;
    at("status").dataset.kind = kind;
    this.showNotices(notices);
  }

  showNotices(notices) {
    const key = JSON.stringify(notices);
    if (key === this.notices) return;
    this.notices = key;
    at("notice").hidden = notices.length === 0;
    at("notice").replaceChildren(...notices.map(([headline, advice, kind]) => {
      const notice = document.createElement("p");
      notice.dataset.kind = kind;
      const strong = document.createElement("strong");
      strong.textContent = headline;
      notice.append(strong, ` ${advice}`);
      return notice;
    }));
  }

  didConnect(connection) {
    this.connection = connection;
    this.showFacts();
  }

  pause() {
    if (this.view.span) this.view.follow();
    else this.view.zoomTo(...this.view.shown(this.now() / 1e6));
  }

  setLength(step) {
    const choice = at("window");
    const next = choice.selectedIndex + step;
    if (next < 0 || next >= choice.options.length) return;
    choice.selectedIndex = next;
    this.chooseLength();
  }

  chooseLength() {
    this.view.length = Number(at("window").value);
    if (this.view.span) {
      const to = this.view.span[1];
      this.view.zoomTo(this.view.length === 0 ? 0 : to - this.view.length, to);
    }
    this.view.didChange();
  }

  saveTable() {
    save(tableOf(this.data, this.plots.plots, ...this.view.shown(this.now() / 1e6)));
  }

  toggleHelp() {
    at("keys").hidden = !at("keys").hidden;
    at("help").setAttribute("aria-expanded", String(!at("keys").hidden));
  }

  connectControls() {
    at("pause").addEventListener("click", () => this.pause());
    at("live").addEventListener("click", () => {
      this.view.follow();
      at("pause").focus();  // this button is hidden now, and the keys go on from the one beside it
    });
    at("save").addEventListener("click", () => this.saveTable());
    at("help").addEventListener("click", () => this.toggleHelp());
    at("window").addEventListener("change", () => this.chooseLength());
    // Dygraph's own double click shows all that it holds, which is what is shown already.
    at("plots").addEventListener("dblclick", () => this.view.follow());
    document.addEventListener("keydown", (event) => this.didPress(event));
  }

  didPress(event) {
    const isTyping = event.target.matches("input, select, textarea");
    if (event.key === "Escape" && isTyping) event.target.blur();
    if (isTyping || event.ctrlKey || event.metaKey || event.altKey) return;
    const isOnButton = event.target.matches("button, summary");
    const now = this.now() / 1e6;
    const actions = {
      "+": () => this.setLength(-1), "-": () => this.setLength(1), 0: () => this.view.follow(),
      ArrowLeft: () => this.view.shift(-0.25, now), ArrowRight: () => this.view.shift(0.25, now),
      ",": () => this.view.setCursor(this.plots.neighbour(this.view.cursor, -1)),
      ".": () => this.view.setCursor(this.plots.neighbour(this.view.cursor, 1)),
      "/": () => at("filter").focus(), s: () => this.saveTable(), "?": () => this.toggleHelp(),
    };
    if (!isOnButton) actions[" "] = () => this.pause();
    const action = actions[event.key] ??
      (/^[1-9]$/.test(event.key) ? () => this.plots.focused?.toggle(Number(event.key) - 1) : null);
    if (!action) return;
    event.preventDefault();
    action();
  }
}

const page = new Page();
follow((line) => page.take(line), (connection) => page.didConnect(connection));

// For tests and for the curious: what the page holds.
globalThis.scope = page;
