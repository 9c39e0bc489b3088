// What the program tells, line by line, and what the page asks of it. The secret is what stands
// behind "#" in the address.

const secret = location.hash.slice(1);
const headers = { Authorization: `Bearer ${secret}` };

// Calls `take` with each line, parsed, and `didChange` with "open", "lost", "refused" or "full" as
// the connection comes and goes. After the end of the session nothing more is asked for.
export async function follow(take, didChange) {
  let from = null;
  let hasEnded = false;
  while (!hasEnded) {
    try {
      const answer = await fetch(`/events${from === null ? "" : `?from=${from}`}`,
        { headers, cache: "no-store" });
      if (answer.status === 403) {
        didChange("refused");
        return;
      }
      if (!answer.ok) throw Object.assign(new Error(), { isFull: answer.status === 503 });
      didChange("open");
      await eachLine(answer.body, (line) => {
        if (line.at !== undefined) from = line.number + 1;
        hasEnded = hasEnded || line.state?.endCode !== undefined;
        take(line);
      });
    } catch (error) {
      if (!hasEnded) didChange(error.isFull ? "full" : "lost");
    }
    if (!hasEnded) await new Promise((resolve) => setTimeout(resolve, 1000));
  }
}

async function eachLine(body, take) {
  const reader = body.pipeThrough(new TextDecoderStream()).getReader();
  let rest = "";
  for (;;) {
    const { value, done } = await reader.read();
    if (done) return;
    rest += value;
    let begin = 0;
    for (let end = rest.indexOf("\n"); end >= 0; end = rest.indexOf("\n", begin)) {
      take(JSON.parse(rest.slice(begin, end)));
      begin = end + 1;
    }
    rest = rest.slice(begin);
  }
}

export async function documentText() {
  const answer = await fetch("/document", { headers, cache: "no-store" });
  return answer.ok ? answer.text() : "";
}

// Resolves with "" or why the command was not sent.
export async function send(command) {
  try {
    const answer = await fetch("/command", { method: "POST", headers, body: command });
    if (answer.ok) return "";
    return answer.status === 409 ? "Not sent: it would end the bridge now." : "Not sent: refused.";
  } catch {
    return "Not sent: the bridge's scope does not answer.";
  }
}
