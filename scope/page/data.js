// The values that the page holds: for each stream its columns, in arrays of a fixed type, the latest
// up to a bound. Which streams there are stands in a table that the program serves. Times are seconds
// since the session began.

// A motion at 2,000 per second fills this in nine minutes; one at 25 in eleven hours.
const MOST = 1 << 20;

// The messages, the commands and the families, as docs/messages.json has them.
export const TABLE = await (await fetch("/messages.json")).json();

export const FAMILIES = TABLE.families.map(({ name, is }) => ({ key: name.toLowerCase(),
  title: name[0].toUpperCase() + name.slice(1), what: is }));

// The narrowest array that holds the field.
function arrayFor({ least, most }) {
  const narrow = least < 0
    ? [[2 ** 7, Int8Array], [2 ** 15, Int16Array], [2 ** 31, Int32Array]]
    : [[2 ** 8, Uint8Array], [2 ** 16, Uint16Array], [2 ** 32, Uint32Array]];
  return narrow.find(([end]) => -end <= least && most < end)?.[1] ?? Float64Array;
}

// Those that a message's values go to: one, or one for each value of its field "stream".
function streamsOf(message) {
  const fields = Object.entries(message.fields).filter(([name, field]) => name !== "stream" &&
    field.absent === undefined);
  const of = (text, key) => text.replace("{stream}", key);
  return Object.keys(message.fields.stream?.choice ?? { "": "" }).map((key) => ({
    name: of(message.table, key), title: of(message.plot, key), family: message.from.toLowerCase(),
    channels: fields.map(([name]) => name), types: fields.map(([, field]) => arrayFor(field)),
    scale: fields[0][1].scale ?? 1, isRaw: fields.some(([, field]) => field.bytes),
    arePoints: message.points === true,
    // Comes by itself from a device that is there.
    isSteady: message.role === "stream" && !message.answers,
  }));
}

export const STREAMS = TABLE.messages.filter(({ plot }) => plot).flatMap(streamsOf);

// Columns that grow at the end and lose what is oldest beyond the bound.
export class Series {
  constructor(types, most = MOST) {
    this.most = most;
    this.length = 0;
    this.total = 0;  // ever added
    this.times = new Float64Array(1024);
    this.columns = types.map((type) => new type(1024));
  }

  append(times, columns) {
    const count = times.length;
    if (count > this.most) {
      const cut = count - this.most;
      this.total += cut;
      this.append(times.slice(cut), columns.map((column) => column.slice(cut)));
      return;
    }
    this.makeRoom(count);
    this.times.set(times, this.length);
    columns.forEach((column, i) => this.columns[i].set(column, this.length));
    this.length += count;
    this.total += count;
  }

  // Room for so many more: by growing, and at the bound by dropping the older half of a third.
  makeRoom(count) {
    const needed = this.length + count;
    if (needed > this.most) {
      const drop = Math.min(this.length, Math.max(needed - this.most, this.most >> 3));
      for (const array of [this.times, ...this.columns]) array.copyWithin(0, drop, this.length);
      this.length -= drop;
    }
    if (this.length + count <= this.times.length) return;
    let room = this.times.length;
    while (room < this.length + count) room *= 2;
    room = Math.min(room, this.most);
    const grown = (array) => {
      const larger = new array.constructor(room);
      larger.set(array.subarray(0, this.length));
      return larger;
    };
    this.times = grown(this.times);
    this.columns = this.columns.map(grown);
  }

  // The index of the first value at or after the time.
  indexAt(time) {
    let low = 0;
    let high = this.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.times[middle] < time) low = middle + 1;
      else high = middle;
    }
    return low;
  }

  get last() {
    return this.length > 0 ? this.times[this.length - 1] : null;
  }
}

// How the bytes of a raw value are taken for samples. Which of these a device means is not known
// here: bytes are what was sent.
export const LAYOUTS = {
  bytes: { size: 1, read: (view, at) => view.getUint8(at) },
  "int16 little-endian": { size: 2, read: (view, at) => view.getInt16(at, true) },
  "int16 big-endian": { size: 2, read: (view, at) => view.getInt16(at, false) },
  "uint16 little-endian": { size: 2, read: (view, at) => view.getUint16(at, true) },
  "int32 little-endian": { size: 4, read: (view, at) => view.getInt32(at, true) },
  "float32 little-endian": { size: 4, read: (view, at) => view.getFloat32(at, true) },
};

export function fromHex(text) {
  const bytes = new Uint8Array(text.length / 2);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = Number.parseInt(text.substr(2 * i, 2), 16);
  return bytes;
}

// A raw stream: its values as they came, and the samples that the chosen layout makes of them. The
// samples of a value are spread over the time since the value before it.
export class RawStream {
  constructor(most = MOST) {
    this.most = most;
    this.values = [];  // [time, hexadecimal digits]
    this.kept = 0;     // digits of all
    this.total = 0;
    this.layout = "bytes";
    this.samples = new Series([Float64Array], most);
  }

  append(times, texts) {
    times.forEach((time, i) => {
      const before = this.values.length > 0 ? this.values[this.values.length - 1][0] : time;
      this.values.push([time, texts[i]]);
      this.kept += texts[i].length;
      this.total += 1;
      this.cut(before, time, texts[i]);
    });
    let drop = 0;
    while (this.kept > 4 * this.most) this.kept -= this.values[drop++][1].length;
    if (drop > 0) this.values.splice(0, drop);
  }

  cut(before, time, text) {
    const { size, read } = LAYOUTS[this.layout];
    const bytes = fromHex(text);
    const view = new DataView(bytes.buffer);
    const count = Math.floor(bytes.length / size);
    const step = count > 0 ? Math.min(time - before, 1) / count : 0;
    const times = [];
    const samples = [];
    for (let i = 0; i < count; ++i) {
      times.push(time - (count - 1 - i) * step);
      samples.push(read(view, i * size));
    }
    this.samples.append(times, [samples]);
  }

  setLayout(layout) {
    this.layout = layout;
    this.samples = new Series([Float64Array], this.most);
    this.values.forEach(([time, text], i) => {
      this.cut(i > 0 ? this.values[i - 1][0] : time, time, text);
    });
  }

  get length() { return this.values.length; }
  get last() { return this.length > 0 ? this.values[this.length - 1][0] : null; }
}

// All of them, by name.
export class Data {
  constructor(most = MOST) {
    this.streams = new Map(STREAMS.map((stream) => [stream.name, stream.isRaw
      ? new RawStream(most) : new Series(stream.types, most)]));
  }

  // Takes what a line of the feed has, its times in microseconds.
  take(line) {
    for (const { name, isRaw, channels } of STREAMS) {
      const columns = line[name];
      if (!columns) continue;
      const times = columns[0].map((time) => time / 1e6);
      if (isRaw) this.streams.get(name).append(times, columns[1]);
      else this.streams.get(name).append(times, columns.slice(1, channels.length + 1));
    }
  }

  series(name) {
    const stream = this.streams.get(name);
    return stream.samples ?? stream;
  }
}
