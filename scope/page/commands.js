// The bridge's commands as buttons. One that would end the bridge now cannot be pressed, and says
// why; the program looks at it again before it sends anything.

import { send } from "./feed.js";

const GROUPS = [
  { family: "corvelta", title: "Corvelta", commands: [
    ["CV_debutCalib", "Start calibration"], ["CV_finCalib", "Stop calibration"],
    ["CV_debutAcquisition", "Start acquisition"], ["CV_finAcquisition", "Stop acquisition"]] },
  { family: "fenwix", title: "Fenwix", commands: [
    ["FX_startRaw", "Start raw 1"], ["FX_stopRaw", "Stop raw 1"],
    ["FX_startRaw2", "Start raw 2"], ["FX_stopRaw2", "Stop raw 2"],
    ["FX_getJson", "Get document"]] },
];

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
    for (const { family, title, commands } of GROUPS) {
      const group = element("fieldset");
      group.append(element("legend", "", title));
      for (const [command, label] of commands) {
        group.append(this.button(family, label, command, () => command));
      }
      if (family === "fenwix") group.append(this.numbered());
      root.append(group);
    }
    root.append(this.endButton(), this.answer);
  }

  button(family, label, title, command) {
    const button = element("button", "", label);
    button.type = "button";
    button.title = title;
    button.disabled = true;
    button.dataset.command = title;
    button.addEventListener("click", () => this.send(command()));
    this.buttons.push([button, family]);
    return button;
  }

  numbered() {
    const row = element("div", "numbered");
    const number = this.numberField("command", 255);
    const value = this.numberField("value", 4294967295);
    const areRight = (most) => isNumber(number.value, 255) && isNumber(value.value, most);
    const write = (word, most) => {
      if (!areRight(most)) {
        this.answer.textContent = `Not sent: 0 to 255, and a value from 0 to ${most}.`;
        return null;
      }
      return `${word} ${Number(number.value)} ${Number(value.value)}`;
    };
    row.append(number, value,
      this.button("fenwix", "Write int", "FX_cmdWriteInt", () => write("FX_cmdWriteInt", 4294967295)),
      this.button("fenwix", "Write byte", "FX_cmdWriteByte", () => write("FX_cmdWriteByte", 255)));
    return row;
  }

  numberField(name, most) {
    const field = element("input");
    field.inputMode = "numeric";
    field.placeholder = name;
    field.title = `0 to ${most}`;
    field.setAttribute("aria-label", `Fenwix ${name}, 0 to ${most}`);
    field.dataset.field = name;
    return field;
  }

  // Ends the session for the host as well: asks again.
  endButton() {
    const button = element("button", "end", "End the bridge");
    button.type = "button";
    button.title = "kill";
    button.dataset.command = "kill";
    button.disabled = true;
    let timer = null;
    const calm = () => {
      clearTimeout(timer);
      timer = null;
      button.textContent = "End the bridge";
    };
    button.addEventListener("click", () => {
      if (timer === null) {
        button.textContent = "Press again to end it";
        timer = setTimeout(calm, 4000);
        return;
      }
      calm();
      this.send("kill");
    });
    button.addEventListener("blur", calm);
    this.buttons.push([button, null]);
    return button;
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

function isNumber(text, most) {
  return /^\d{1,10}$/.test(text.trim()) && Number(text) <= most;
}
