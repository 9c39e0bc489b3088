// The bridge's commands as buttons. One that would end the bridge now cannot be pressed, and says
// why; the program looks at it again before it sends anything.

import { FAMILIES, TABLE } from "./data.js";
import { send } from "./feed.js";

const COMMANDS = TABLE.commands.map((command) => ({ ...command, word: command.line.split(" ")[0],
  arguments: Object.entries(command.arguments ?? {}),
  family: familyOf(TABLE.messages.find(({ name }) => name === command.safeAfter)) }));

// Whose device has to be ready; null where none has to.
function familyOf(message) {
  return message ? message.from.toLowerCase() : null;
}

function element(tag, className, text) {
  const made = document.createElement(tag);
  if (className) made.className = className;
  if (text !== undefined) made.textContent = text;
  return made;
}

export class Commands {
  constructor(root) {
    this.buttons = [];  // [button, family or null]
    this.answer = element("p", "answer");
    this.answer.setAttribute("role", "status");
    root.append(element("h2", "", "Commands"));
    for (const { key, title } of FAMILIES) {
      const commands = COMMANDS.filter(({ family }) => family === key);
      if (commands.length > 0) root.append(this.group(title, commands));
    }
    root.append(...this.plain(COMMANDS.filter(({ family }) => family === null)), this.answer);
  }

  group(title, commands) {
    const group = element("fieldset");
    group.append(element("legend", "", title),
      ...this.plain(commands.filter((command) => command.arguments.length === 0)));
    const numbered = commands.filter((command) => command.arguments.length > 0);
    if (numbered.length > 0) group.append(this.numbered(title, numbered));
    return group;
  }

  plain(commands) {
    return commands.map((command) => {
      const button = this.button(command);
      if (command.confirm) this.askAgain(button, command);
      else button.addEventListener("click", () => this.send(command.word));
      return button;
    });
  }

  button({ word, button: label, family }) {
    const button = element("button", "", label);
    button.type = "button";
    button.title = word;
    button.disabled = true;
    button.dataset.command = word;
    this.buttons.push([button, family]);
    return button;
  }

  // Of all commands with numbers, which have their fields in common: one field per argument.
  numbered(title, commands) {
    const row = element("div", "numbered");
    const fields = new Map();
    for (const [name, { least, most }] of commands.flatMap((command) => command.arguments)) {
      const widest = Math.max(most, fields.get(name)?.most ?? most);
      fields.set(name, { least, most: widest, input: fields.get(name)?.input ?? element("input") });
    }
    for (const [name, { least, most, input }] of fields) {
      input.inputMode = "numeric";
      input.placeholder = name;
      input.title = `${least} to ${most}`;
      input.setAttribute("aria-label", `${title} ${name}, ${least} to ${most}`);
      input.dataset.field = name;
      row.append(input);
    }
    for (const command of commands) {
      const button = this.button(command);
      button.addEventListener("click", () => this.send(this.lineOf(command, fields)));
      row.append(button);
    }
    return row;
  }

  // Null, and an answer, where a number is none of the command's.
  lineOf(command, fields) {
    const texts = command.arguments.map(([name]) => fields.get(name).input.value);
    if (command.arguments.every(([, bounds], i) => isNumber(texts[i], bounds))) {
      return [command.word, ...texts.map(Number)].join(" ");
    }
    const ranges = command.arguments.map(([name, { least, most }]) => `${name} ${least} to ${most}`);
    this.answer.textContent = `Not sent: ${ranges.join(", ")}.`;
    return null;
  }

  // For what ends the session for the host as well.
  askAgain(button, command) {
    button.classList.add("end");
    let timer = null;
    const calm = () => {
      clearTimeout(timer);
      timer = null;
      button.textContent = command.button;
    };
    button.addEventListener("click", () => {
      if (timer === null) {
        button.textContent = command.confirm;
        timer = setTimeout(calm, 4000);
        return;
      }
      calm();
      this.send(command.word);
    });
    button.addEventListener("blur", calm);
  }

  async send(command) {
    if (command === null) return;
    this.answer.textContent = await send(command) || `Sent: ${command}`;
  }

  show(state, session, isConnected) {
    for (const [button, family] of this.buttons) {
      const device = state.devices.find((one) => one.family === family);
      const why = session.isReadOnly ? "this page may only look on"
        : !isConnected ? "not connected"
        : state.endCode !== undefined ? "the bridge has ended"
        : state.isInputClosed ? "its input is closed"
        : device && !device.isReady ? "not before the device is ready" : "";
      button.disabled = why !== "";
      button.title = why === "" ? button.dataset.command : `${button.dataset.command}: ${why}`;
    }
  }
}

function isNumber(text, { least, most }) {
  return /^\d{1,10}$/.test(text.trim()) && Number(text) >= least && Number(text) <= most;
}
