// What the curves show, as a table: a row per time, a column per channel that is on, an empty cell
// where a stream has no value at that time. Raw values are their bytes, in hexadecimal digits.

import { STREAMS } from "./data.js";

function exact(value) {
  return Math.abs(value) > Number.MAX_SAFE_INTEGER ? BigInt(value).toString() : String(value);
}

export function tableOf(data, plots, from, to) {
  const columns = [];
  const rows = [];
  for (const stream of STREAMS) {
    const plot = plots.get(stream.name);
    if (!plot || !plot.isOn.some(Boolean)) continue;
    const first = columns.length;
    if (stream.isRaw) {
      columns.push(`${stream.name}.bytes`);
      for (const [time, text] of data.streams.get(stream.name).values) {
        if (time >= from && time <= to) rows.push({ time, first, cells: [text] });
      }
      continue;
    }
    const series = data.series(stream.name);
    const on = series.columns.filter((_, i) => plot.isOn[i]);
    columns.push(...stream.channels.filter((_, i) => plot.isOn[i])
      .map((channel) => `${stream.name}.${channel}`));
    const end = series.indexAt(to + 1e-9);
    for (let i = series.indexAt(from); i < end; ++i) {
      rows.push({ time: series.times[i], first, cells: on.map((column) => exact(column[i])) });
    }
  }
  rows.sort((a, b) => a.time - b.time);
  const lines = rows.map(({ time, first, cells }) => {
    const row = new Array(columns.length).fill("");
    cells.forEach((cell, i) => { row[first + i] = cell; });
    return [time.toFixed(6), ...row].join(",");
  });
  return [["seconds", ...columns].join(","), ...lines, ""].join("\n");
}

export function save(text) {
  const link = document.createElement("a");
  const address = URL.createObjectURL(new Blob([text], { type: "text/csv" }));
  link.href = address;
  link.download = `vornix-${new Date().toISOString().slice(0, 19).replace(/[T:]/g, "-")}.csv`;
  link.click();
  setTimeout(() => URL.revokeObjectURL(address), 10000);
}
