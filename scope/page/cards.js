// One card per device, and one for the bridge.

import { FAMILIES, STREAMS, TABLE } from "./data.js";
import { bytes, deviceWords, duration } from "./words.js";

function element(tag, className, text) {
  const made = document.createElement(tag);
  if (className) made.className = className;
  if (text !== undefined) made.textContent = text;
  return made;
}

// A list of names and values that keeps its elements, and with them a selection.
class Facts {
  constructor() {
    this.root = element("dl", "facts");
    this.rows = new Map();
  }

  show(facts) {
    const names = new Set(facts.map(([name]) => name));
    for (const [name, row] of this.rows) row.hidden = !names.has(name);
    for (const [name, text] of facts) {
      if (!this.rows.has(name)) {
        const row = element("div");
        row.append(element("dt", "", name), element("dd"));
        this.rows.set(name, row);
        this.root.append(row);
      }
      const value = this.rows.get(name).lastChild;
      if (value.textContent !== text) value.textContent = text;
    }
  }
}

class Card {
  constructor(name, title, what) {
    this.root = element("article", "card");
    this.root.dataset.card = name;
    this.title = element("h2", "", title);
    this.what = element("p", "what", what);
    this.word = element("span", "word");
    this.missing = element("p", "missing");
    this.facts = new Facts();
    const head = element("div", "card-head");
    head.append(this.title, this.word);
    this.root.append(head, this.what, this.facts.root, this.missing);
  }

  show({ what, word, kind, missing, facts }) {
    this.root.dataset.kind = kind;
    set(this.what, what);
    set(this.word, word);
    set(this.missing, missing);
    this.missing.hidden = missing === "";
    this.facts.show(facts);
  }
}

function set(node, text) {
  if (node.textContent !== text) node.textContent = text;
}

// Values per second over the last seconds, from the counts that the states tell.
export class Rates {
  constructor() {
    this.history = [];
  }

  take(at, streams) {
    this.history.push({ at, streams });
    while (this.history.length > 2 && at - this.history[1].at > 2e6) this.history.shift();
  }

  of(name, now) {
    if (this.history.length < 2) return 0;
    const first = this.history[0];
    const last = this.history[this.history.length - 1];
    if (now - last.streams[name].last > 3e6) return 0;
    const span = (last.at - first.at) / 1e6;
    return span > 0 ? (last.streams[name].count - first.streams[name].count) / span : 0;
  }
}

function rateText(rate) {
  if (rate === 0) return "0 /s";
  return `${rate < 10 ? rate.toFixed(1) : Math.round(rate)} /s`;
}

export class Cards {
  constructor(root) {
    this.rates = new Rates();
    this.cards = new Map();
    for (const { key, title, what } of FAMILIES) this.add(root, key, title, what);
    this.add(root, "bridge", "Bridge", "");
  }

  add(root, name, title, what) {
    const card = new Card(name, title, what);
    this.cards.set(name, card);
    root.append(card.root);
  }

  // `now` in microseconds since the session began; `missed` values that this page did not get.
  show(state, session, now, missed) {
    const hasEnded = state.endCode !== undefined;
    for (const device of state.devices) this.showDevice(device, state, now, hasEnded);
    this.showBridge(state, session, hasEnded, missed);
  }

  showDevice(device, state, now, hasEnded) {
    const own = STREAMS.filter(({ family }) => family === device.family);
    const seen = own.filter(({ name }) => state.streams[name].count > 0);
    const last = Math.max(-Infinity, ...seen.map(({ name }) => state.streams[name].last));
    const end = hasEnded ? state.endedAt : now;
    const age = seen.length > 0 ? Math.max(0, (end - last) / 1e6) : null;
    const expects = seen.some(({ isSteady }) => isSteady);
    const words = deviceWords(device, { age, expects, isScanning: state.isScanning, hasEnded });
    this.cards.get(device.family).show({ ...words,
      what: [FAMILIES.find(({ key }) => key === device.family).what, device.name].filter(Boolean)
        .join(" · "),
      facts: [...factsOf(device), ...this.streamFacts(seen, state, now, age, hasEnded)] });
  }

  streamFacts(seen, state, now, age, hasEnded) {
    if (seen.length === 0) return [];
    const facts = seen.map(({ name, title }) => [title,
      `${hasEnded ? "" : `${rateText(this.rates.of(name, now))} · `}${state.streams[name].count}`]);
    return [["Last value", hasEnded ? `${duration(age)} before the end` : `${duration(age)} ago`],
      ...facts];
  }

  showBridge(state, session, hasEnded, missed) {
    const stalled = state.stalled === null ? "" : `The host has not read for ${
      duration(state.stalled / 1000)}: values wait in the bridge, and nothing is lost yet.`;
    const facts = [["Radio", state.radio || "not known yet"],
      ["Scanning", state.isScanning && !hasEnded ? "yes" : "no"],
      ["Lines", String(state.lines)], ["Damaged lines", String(state.damaged)]];
    if (state.unknown > 0) facts.push(["Unknown messages", String(state.unknown)]);
    if (state.missed > 0) facts.push(["Not seen here", bytes(state.missed)]);
    facts.push(["Missed by this page", missed === 0 ? "0" : `${missed} values`]);
    if (session.record) facts.push(["Recording", session.recordFailure ? "ended"
      : bytes(session.recordSize)]);
    if (session.recordMissed > 0) facts.push(["Not recorded", bytes(session.recordMissed)]);
    const word = hasEnded ? "ended" : state.stalled !== null ? "host stalls"
      : state.isInputClosed ? "ending" : "running";
    this.cards.get("bridge").show({ what: session.command, word,
      kind: hasEnded ? "off" : state.stalled !== null ? "wait" : "good", missing: stalled, facts });
  }
}

// What the device's messages have told: a choice in words, all else as it is.
function toldBy(device) {
  return TABLE.messages.filter(({ from }) => from.toLowerCase() === device.family)
    .flatMap(({ fields }) => Object.entries(fields)).filter(([, { fact }]) => fact)
    .map(([name, { fact, choice }]) => {
      const value = device.facts[name] ?? null;
      return [fact, value === null ? "not known" : choice?.[value] || String(value)];
    });
}

function factsOf(device) {
  if (!device.isFound) return [];
  const facts = toldBy(device);
  // What stands in the log alone.
  if (device.family === "corvelta") {
    facts.push(["Firmware", device.firmware || "not known"]);
    // The bridge tells when charging begins, not when it ends.
    facts.push(["On mains", device.isOnMains === null ? "not known"
      : device.isOnMains ? "yes, when last told" : "no, when last told"]);
  }
  if (device.family === "fenwix") {
    facts.push(["Commands", device.isCommandOpen === null ? "not open yet"
      : device.isCommandOpen ? "open" : "closed"]);
  }
  return facts;
}
