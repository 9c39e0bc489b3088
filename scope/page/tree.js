// A JSON document as a tree that opens and closes. It is a device's own text: it is shown as text,
// and what is inside of something is made when it is opened.

const MOST_CHILDREN = 1000;

function span(className, text) {
  const made = document.createElement("span");
  made.className = className;
  made.textContent = text;
  return made;
}

function node(name, value, isOpen) {
  const isParent = value !== null && typeof value === "object";
  const key = name === null ? [] : [span("key", name), document.createTextNode(": ")];
  if (!isParent) {
    const leaf = document.createElement("div");
    leaf.className = "leaf";
    leaf.append(...key, span(value === null ? "null" : typeof value, JSON.stringify(value)));
    return leaf;
  }
  const entries = Object.entries(value);
  const parent = document.createElement("details");
  const summary = document.createElement("summary");
  const size = Array.isArray(value) ? `[${entries.length}]` : `{${entries.length}}`;
  summary.append(...key, span("size", size));
  parent.append(summary);
  parent.addEventListener("toggle", () => fill(parent, entries), { once: true });
  parent.open = isOpen;
  return parent;
}

function fill(parent, entries) {
  parent.append(...entries.slice(0, MOST_CHILDREN).map(([name, value]) => node(name, value, false)));
  if (entries.length > MOST_CHILDREN) {
    parent.append(span("more", `and ${entries.length - MOST_CHILDREN} more`));
  }
}

export function showTree(root, text) {
  let value;
  try {
    value = JSON.parse(text);
  } catch {
    const note = document.createElement("p");
    note.className = "missing";
    note.textContent = text === "" ? "The document is empty." : "Not JSON; as it came:";
    const whole = document.createElement("pre");
    whole.textContent = text;
    root.replaceChildren(note, whole);
    return;
  }
  root.replaceChildren(node(null, value, true));
}
