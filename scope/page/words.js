// What the facts of the bridge's state mean for whoever looks at the page.

const HOST_ENDED = "The host has ended it, or closed its input. Start it again when you need it.";

const RADIO = {
  2: ["Bluetooth is switched off.", "Switch it on, then start the bridge again."],
  3: ["There is no Bluetooth here, or its state is not known.",
      "Plug in an adapter or start the Bluetooth service, then start the bridge again."],
  4: ["The bridge is not allowed to use Bluetooth.",
      "Allow it in the system's settings, then start the bridge again."],
};

const SIGNALS = { 1: "SIGHUP", 2: "SIGINT", 3: "SIGQUIT", 4: "SIGILL", 6: "SIGABRT", 7: "SIGBUS",
  8: "SIGFPE", 9: "SIGKILL", 11: "SIGSEGV", 13: "SIGPIPE", 15: "SIGTERM" };

export function signalName(number) {
  return SIGNALS[number] ?? `signal ${number}`;
}

// Why the bridge has ended and what to do: a headline and a sentence, and whether it is a fault.
export function endingWords(state) {
  const { endedBySignal, endCode, unusable, hasSerialZero, lastCommand } = state;
  if (!endedBySignal && unusable !== null) {
    const [why, what] = RADIO[unusable] ?? RADIO[3];
    return { headline: `The bridge has ended: ${why}`, advice: what, isFault: true };
  }
  if (!endedBySignal && hasSerialZero) {
    return { headline: "The bridge has ended: the Fenwix could not start (its serial number is 0).",
      advice: "Switch the Fenwix off and on, then start the bridge again.", isFault: true };
  }
  if (!endedBySignal && endCode === 127) {
    return { headline: "The bridge could not be started.",
      advice: "Look at the command that follows vornix-scope: it has to be a program.",
      isFault: true };
  }
  if (!endedBySignal && endCode === 0) {
    return { headline: "The bridge has ended.", advice: HOST_ENDED, isFault: false };
  }
  if (!endedBySignal) {
    return { headline: `The bridge has ended with status ${endCode}.`,
      advice: "The log's last lines may tell why. Start it again.", isFault: true };
  }
  if (endCode === 6) {
    const command = lastCommand ? ` The last command was “${lastCommand}”.` : "";
    return { headline: "The bridge has stopped hard (SIGABRT).",
      advice: "Something that has to hold did not: a command before its device was ready, or with a " +
        "wrong argument, or a device that sent a value shorter than its layout." + command +
        " The log's last line tells what was begun. Start the bridge again.", isFault: true };
  }
  if (endCode === 13) {
    return { headline: "The bridge has ended (SIGPIPE).",
      advice: "The host has closed the bridge's output. Start the host again.", isFault: true };
  }
  return { headline: `The bridge was ended by ${signalName(endCode)}.`,
    advice: "Somebody sent it, or the program had a fault. Start it again.", isFault: true };
}

// What a device is up to, in a word and, where something is missing, in a sentence. `age` is the
// seconds since its last value, null without one; `expects` whether values have to come by now.
export function deviceWords(device, { age, expects, isScanning, hasEnded }) {
  if (hasEnded) return { word: device.isFound ? "ended" : "not found", kind: "off", missing: "" };
  if (!device.isFound) {
    return { word: isScanning ? "looking for it" : "not found", kind: "off",
      missing: isScanning ? "" : "Scanning is over: switch it on and start the bridge again." };
  }
  if (device.hasFailed) {
    return { word: "silent", kind: "bad",
      missing: "It was lost, or failed, before its services were known. Switch it off and on, and " +
        "start the bridge again." };
  }
  if (device.family === "fenwix" && device.isCommandOpen === false) {
    return { word: "no commands", kind: "bad",
      missing: `Its command channel is closed: ${device.commandRefusal}` };
  }
  if (expects && age !== null && age > 5) {
    return { word: "silent", kind: "bad",
      missing: "No values for some seconds: it may be lost, out of reach or off. A lost device is " +
        "not sought again: start the bridge again." };
  }
  if (device.isReady) return { word: "ready", kind: "good", missing: "" };
  if (age !== null) {
    return { word: "not ready", kind: "wait",
      missing: device.isCommandOpen === null
        ? "It streams; its numbers and its command channel are still missing."
        : "It streams; one of its five numbers is still missing." };
  }
  return { word: "connecting", kind: "wait",
    missing: device.family === "corvelta" ? "Its battery level is still missing."
      : device.family === "fenwix" ? "Its values, its numbers and its command channel are missing."
      : "Its first value is still missing." };
}

export function duration(seconds) {
  if (seconds < 1) return `${Math.max(0, Math.round(seconds * 10) / 10).toFixed(1)} s`;
  if (seconds < 100) return `${Math.round(seconds)} s`;
  if (seconds < 6000) return `${Math.round(seconds / 60)} min`;
  return `${Math.round(seconds / 3600)} h`;
}

export function bytes(count) {
  if (count < 1e3) return `${count} B`;
  if (count < 1e6) return `${(count / 1e3).toFixed(1)} kB`;
  return `${(count / 1e6).toFixed(1)} MB`;
}
