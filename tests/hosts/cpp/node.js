// A host in Node.js, which gives its child sockets in place of pipes: node.js BRIDGE. Prints what
// it has read.
"use strict";
const { spawn } = require("node:child_process");
const fs = require("node:fs");

const bridge = spawn(process.argv[2], ["--devices", "tramsel,fenwix", "--control", "json 65535"]);
const kind = (descriptor) => {
  const link = fs.readlinkSync(`/proc/${bridge.pid}/fd/${descriptor}`);
  return link.split(":")[0];
};
console.log(`standard input: ${kind(0)}, standard output: ${kind(1)}`);

let text = "";
let errors = "";
let hasAsked = false;
let hasKilled = false;
bridge.stderr.on("data", (bytes) => (errors += bytes));
bridge.stdout.on("data", (bytes) => {
  text += bytes.toString("latin1");
  if (!hasAsked && text.includes("<C;5;0;")) {
    hasAsked = true;
    bridge.stdin.write("FX_getJson\n");
  }
  const document = text.indexOf("<PJSON;");
  if (!hasKilled && document >= 0 && text.indexOf(">\n", document) >= 0) {
    hasKilled = true;
    bridge.stdin.write("kill\n");
  }
});
bridge.on("close", (status, signal) => {
  const lines = text.split("\n");
  const last = lines.pop();
  const whole = lines.filter((line) => /^<.*>$/.test(line)).length;
  console.log(`document: ${(/<PJSON;(.*);[0-9A-F]{4}>/.exec(text) || ["", ""])[1].length}`);
  console.log(`lines that are not whole: ${lines.length - whole + (last === "" ? 0 : 1)}`);
  console.log(`last line: ${lines[lines.length - 1].replace(/[0-9:.]+ /, "")}`);
  console.log(`status ${status}, signal ${signal}, errors ${JSON.stringify(errors)}`);
});
