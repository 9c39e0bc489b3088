// The curves: one plot per stream that has values, all over the same span of time, with one cursor.

import { LAYOUTS, STREAMS } from "./data.js";

/* global Dygraph */

// The library's legend sets a style in a way that the page's security policy forbids; the buttons
// take its place.
Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => plugin !== Dygraph.Plugins.Legend);

// A plot shows so many columns of values at most: of each column the least and the greatest, so that
// no peak is lost however long the span is.
export const MOST_COLUMNS = 700;

// The one width that a browser without a graphics processor draws as a line, and does not fill as an
// area: a wider one takes four to six times as long.
const LINE = 1;

// The rows that a plot draws for a span: [time, value, ...], null for a channel that is off.
export function rowsOf(series, from, to, isOn, scale, mostColumns = MOST_COLUMNS) {
  const first = Math.max(0, series.indexAt(from) - 1);
  const last = Math.min(series.length, series.indexAt(to) + 1);
  const { times, columns } = series;
  const rows = [];
  if (last - first <= 2 * mostColumns) {
    for (let i = first; i < last; ++i) {
      const row = [times[i]];
      for (let c = 0; c < columns.length; ++c) row.push(isOn[c] ? columns[c][i] * scale : null);
      rows.push(row);
    }
    return rows;
  }
  // Columns that stay where they are while the span moves on, or the curve would shimmer.
  const width = (to - from) / mostColumns;
  const ends = columns.map(() => 0);  // where the curves are at the end of the column before
  let i = first;
  while (i < last) {
    const column = Math.floor(times[i] / width);
    const begin = i;
    while (i < last && Math.floor(times[i] / width) === column) ++i;
    const left = [column * width];
    const right = [(column + 0.5) * width];
    for (let c = 0; c < columns.length; ++c) {
      if (!isOn[c]) {
        left.push(null);
        right.push(null);
        continue;
      }
      const [least, greatest] = rangeOf(columns[c], begin, i);
      // The nearer one first: half as much line to draw, and a curve that rises shows no teeth.
      const isUp = ends[c] - least < greatest - ends[c];
      ends[c] = isUp ? greatest : least;
      left.push((isUp ? least : greatest) * scale);
      right.push(ends[c] * scale);
    }
    rows.push(left, right);
  }
  return rows;
}

function rangeOf(values, begin, end) {
  let least = values[begin];
  let greatest = least;
  for (let i = begin + 1; i < end; ++i) {
    const value = values[i];
    if (value < least) least = value;
    else if (value > greatest) greatest = value;
  }
  return [least, greatest];
}

function element(tag, className, text) {
  const made = document.createElement(tag);
  if (className) made.className = className;
  if (text !== undefined) made.textContent = text;
  return made;
}

class Plot {
  constructor(stream, data, view) {
    this.stream = stream;
    this.data = data;
    this.view = view;
    this.scale = stream.scale;
    this.turn = 0;  // in which it was drawn
    this.isOn = stream.channels.map(() => true);
    this.build();
  }

  build() {
    this.root = element("article", "plot");
    this.root.tabIndex = 0;
    this.root.dataset.stream = this.stream.name;
    this.root.classList.toggle("points", this.stream.arePoints);
    this.root.setAttribute("aria-label", `Curves: ${this.stream.title}`);
    const head = element("div", "plot-head");
    head.append(element("h2", "", this.stream.title));
    this.channels = this.stream.channels.map((name, i) => this.channelButton(name, i));
    const list = element("div", "channels");
    list.append(...this.channels);
    head.append(list);
    if (this.stream.isRaw) head.append(this.layoutChoice());
    const frame = element("div", "frame");
    this.canvas = element("div", "canvas");
    this.cursor = element("div", "cursor");
    this.cursor.hidden = true;
    frame.append(this.canvas, this.cursor);
    this.root.append(head, frame);
    frame.addEventListener("pointermove", (event) => this.pointAt(event));
    frame.addEventListener("pointerdown", (event) => this.pointAt(event));
    frame.addEventListener("pointerleave", () => this.view.setCursor(null));
  }

  channelButton(name, i) {
    const button = element("button", `channel channel-${i + 1}`);
    button.type = "button";
    button.append(element("span", "key"), element("span", "name", name),
      element("output", "value"));
    button.setAttribute("aria-pressed", "true");
    button.title = `${name} on or off`;
    button.addEventListener("click", () => this.toggle(i));
    return button;
  }

  layoutChoice() {
    const label = element("label", "layout", "as ");
    const select = element("select");
    for (const layout of Object.keys(LAYOUTS)) select.append(new Option(layout, layout));
    select.addEventListener("change", () => {
      this.data.streams.get(this.stream.name).setLayout(select.value);
      this.view.didChange();
    });
    label.append(select);
    return label;
  }

  toggle(i) {
    if (i >= this.isOn.length) return;
    this.isOn[i] = !this.isOn[i];
    this.channels[i].setAttribute("aria-pressed", String(this.isOn[i]));
    this.view.didChange();
  }

  colours() {
    const style = getComputedStyle(document.documentElement);
    return this.stream.channels.map((_, i) => style.getPropertyValue(`--curve-${i + 1}`).trim());
  }

  draw(from, to, columns) {
    const series = this.data.series(this.stream.name);
    const rows = rowsOf(series, from, to, this.isOn, this.scale, columns);
    // An empty plot is not drawn at all by the library: two rows of nothing keep its frame.
    const nothing = this.stream.channels.map(() => null);
    const file = rows.length > 0 ? rows : [[from, ...nothing], [to, ...nothing]];
    if (this.graph) this.graph.updateOptions({ file, dateWindow: [from, to] });
    else this.makeGraph(file, from, to);
  }

  makeGraph(file, from, to) {
    const style = getComputedStyle(document.documentElement);
    const colour = (name) => style.getPropertyValue(name).trim();
    this.graph = new Dygraph(this.canvas, file, {
      labels: ["time", ...this.stream.channels],
      colors: this.colours(),
      dateWindow: [from, to],
      legend: "never",
      strokeWidth: this.stream.arePoints ? 0 : LINE,
      drawPoints: this.stream.arePoints === true,
      pointSize: 3,
      highlightCircleSize: 0,
      axisLineColor: colour("--rule"),
      gridLineColor: colour("--grid"),
      gridLineWidth: 1,
      axisLabelFontSize: 11,
      yRangePad: 6,
      rightGap: 4,
      axes: {
        x: { axisLabelFormatter: (time) => timeLabel(time), ticker: timeTicks, axisLabelWidth: 70 },
        y: { axisLabelWidth: 56, pixelsPerLabel: 32,
          axisLabelFormatter: (value) => String(Number(value.toPrecision(6))) },
      },
      zoomCallback: (left, right) => this.view.zoomTo(left, right),
    });
  }

  // In other colours, or another size.
  remake() {
    this.graph?.destroy();
    this.graph = null;
  }

  resize() {
    this.graph?.resize();
  }

  pointAt(event) {
    if (!this.graph) return;
    const box = this.canvas.getBoundingClientRect();
    this.view.setCursor(this.graph.toDataXCoord(event.clientX - box.left));
  }

  // The value at or before the time, of each channel.
  valuesAt(time) {
    const series = this.data.series(this.stream.name);
    const i = series.indexAt(time + 1e-9) - 1;
    if (i < 0) return null;
    return { time: series.times[i], index: i,
      values: series.columns.map((column) => column[i] * this.scale) };
  }

  showCursor(time, end) {
    const at = time ?? end;
    const values = this.valuesAt(at);
    this.channels.forEach((button, i) => {
      const text = values && this.isOn[i] ? format(values.values[i], this.scale) : "";
      const output = button.querySelector("output");
      if (output.textContent !== text) output.textContent = text;
    });
    this.cursor.hidden = time === null || !this.graph;
    if (this.cursor.hidden) return;
    this.cursor.style.transform = `translateX(${this.graph.toDomXCoord(time)}px)`;
  }
}

function format(value, scale) {
  return scale === 1 ? String(Number.isInteger(value) ? value : Number(value.toPrecision(6)))
    : value.toFixed(7);
}

// Seconds since the session began, as 0:07.5 or 12:34.
export function timeLabel(time) {
  const minus = time < 0 ? "-" : "";
  const tenths = Math.round(Math.abs(time) * 1000);
  const seconds = tenths / 1000 % 60;
  const minutes = Math.floor(tenths / 60000);
  const whole = Number.isInteger(seconds);
  const text = whole ? String(seconds).padStart(2, "0")
    : seconds.toFixed(3).replace(/0+$/, "").padStart(2, "0");
  return `${minus}${minutes}:${seconds < 10 && !whole ? "0" : ""}${text}`;
}

function timeTicks(from, to, pixels) {
  const steps = [0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120,
    300, 600, 1800, 3600, 7200, 14400, 43200];
  const most = Math.max(2, pixels / 90);
  const step = steps.find((size) => (to - from) / size <= most) ?? 86400;
  const ticks = [];
  for (let i = Math.ceil(from / step); i * step <= to; ++i) {
    ticks.push({ v: i * step, label: timeLabel(Number((i * step).toFixed(3))) });
  }
  return ticks;
}

export class Plots {
  constructor(root, data, view) {
    this.root = root;
    this.data = data;
    this.view = view;
    this.plots = new Map();
    this.turn = 0;  // the latest of any plot
    new ResizeObserver(() => this.resize()).observe(root);
    // What is far outside the window of the browser need not be drawn. Asking where it is would make
    // the browser lay the page out once per plot and picture.
    this.sight = new IntersectionObserver((seen) => {
      for (const { target, isIntersecting } of seen) {
        this.plots.get(target.dataset.stream).isInSight = isIntersecting;
      }
      view.didChange();
    }, { rootMargin: "50px" });
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => {
      for (const plot of this.plots.values()) plot.remake();
      view.didChange();
    });
  }

  resize() {
    for (const plot of this.plots.values()) plot.resize();
    this.view.didChange();
  }

  // Puts a plot there for each stream that has its first value, in the streams' order.
  addMissing() {
    for (const stream of STREAMS) {
      if (this.plots.has(stream.name) || this.data.streams.get(stream.name).length === 0) continue;
      const plot = new Plot(stream, this.data, this.view);
      this.plots.set(stream.name, plot);
      this.sight.observe(plot.root);
      const later = STREAMS.slice(STREAMS.indexOf(stream) + 1)
        .map(({ name }) => this.plots.get(name)?.root).find(Boolean);
      this.root.insertBefore(plot.root, later ?? null);
    }
  }

  get inSight() {
    return [...this.plots.values()].filter((plot) => plot.isInSight);
  }

  draw(from, to, cursor, columns) {
    for (const plot of this.inSight) plot.draw(from, to, columns);
    this.showValues(cursor, to);
  }

  // At the cursor, or the latest.
  showValues(cursor, to) {
    for (const plot of this.inSight) plot.showCursor(cursor, to);
  }

  // Draws those that have not been drawn for longest: all of them in so many turns. The latest values
  // are left to showValues: as text they cannot be read thirty times a second.
  drawNext(turns, from, to, cursor, columns) {
    const waiting = this.inSight.sort((a, b) => a.turn - b.turn);
    for (const plot of waiting.slice(0, Math.ceil(waiting.length / turns))) {
      plot.turn = ++this.turn;
      plot.draw(from, to, columns);
      if (cursor !== null) plot.showCursor(cursor, to);
    }
  }

  get focused() {
    const stream = document.activeElement?.closest(".plot")?.dataset.stream;
    return this.plots.get(stream) ?? this.plots.values().next().value;
  }

  // The cursor's time one value further, in the curves in focus.
  neighbour(cursor, step) {
    const plot = this.focused;
    if (!plot) return cursor;
    const here = plot.valuesAt(cursor ?? Infinity);
    if (!here) return cursor;
    const { times, length } = plot.data.series(plot.stream.name);
    const next = cursor === null ? here.index : here.index + step;
    return times[Math.min(Math.max(next, 0), length - 1)];
  }
}
