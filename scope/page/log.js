// The log: what the bridge, the host and the page said, without the values.

import { timeLabel } from "./plots.js";

const MOST = 5000;   // lines held
const SHOWN = 500;   // of those that match, in the document

export class Log {
  constructor(list, filter, matches) {
    this.list = list;
    this.filter = filter;
    this.matches = matches;
    this.lines = [];
    this.total = 0;
    filter.addEventListener("input", () => this.showAll());
  }

  take(entries) {
    const isAtEnd = this.list.scrollHeight - this.list.scrollTop - this.list.clientHeight < 30;
    const matching = [];
    for (const [time, kind, text] of entries) {
      const line = { time: timeLabel(Number((time / 1e6).toFixed(3))), kind, text };
      this.lines.push(line);
      ++this.total;
      if (this.isMatch(line)) matching.push(line);
    }
    if (this.lines.length > MOST) this.lines.splice(0, this.lines.length - MOST);
    this.list.append(...matching.slice(-SHOWN).map(item));
    while (this.list.childElementCount > SHOWN) this.list.firstChild.remove();
    if (isAtEnd) this.list.scrollTop = this.list.scrollHeight;
    this.count();
  }

  // All words of the filter, in any case and order, in what is to be read of the line.
  isMatch({ time, kind, text }) {
    const words = this.filter.value.toLowerCase().split(/\s+/).filter(Boolean);
    const whole = `${time} ${kind} ${text}`.toLowerCase();
    return words.every((word) => whole.includes(word));
  }

  showAll() {
    this.list.replaceChildren(...this.lines.filter((line) => this.isMatch(line)).slice(-SHOWN)
      .map(item));
    this.list.scrollTop = this.list.scrollHeight;
    this.count();
  }

  count() {
    const isFiltered = this.filter.value.trim() !== "";
    const found = isFiltered ? this.lines.filter((line) => this.isMatch(line)).length : this.total;
    this.matches.textContent = isFiltered ? `${found} of ${this.total}` : `${this.total}`;
  }
}

function item({ time, kind, text }) {
  const line = document.createElement("li");
  line.dataset.kind = kind;
  for (const [className, content] of [["time", time], ["kind", kind], ["text", text]]) {
    const span = document.createElement("span");
    span.className = className;
    span.textContent = content;
    line.append(span);
  }
  return line;
}
