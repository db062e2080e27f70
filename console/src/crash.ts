// A crash report as the library writes it: facts, then frames. Other messages have no frames.
export interface Frame {
  readonly number: string;
  readonly module: string;
  readonly where: string; // the function, or an address where its name isn't known
}

export interface CrashReport {
  readonly facts: readonly string[];
  readonly frames: readonly Frame[];
}

// "  0 - game(game::Shop::open()+0x1a) [0x7f0c8a031a2b]"
const FRAME = /^\s*(\d+)\s+-?\s*(.*)$/;
const PLACE = /^([^\s(]+)\((.*)\)\s*(\[[^\]]*\])?$/;

function frameOf(line: string): Frame | null {
  const found = FRAME.exec(line);
  if (!found) return null;
  const [, number = "", rest = ""] = found;
  const place = PLACE.exec(rest);
  if (!place) return {number, module: "", where: rest};
  const [, module = "", name = "", address = ""] = place;
  return {number, module, where: name === "" ? address : name};
}

export function crashReportOf(message: string): CrashReport | null {
  const lines = message
    .split("\n")
    .map((line) => line.trimEnd())
    .filter((line) => line !== "");
  const begin = lines.findIndex((line) => /^stack ?trace:?$/i.test(line.trim()));
  if (begin < 0) return null;
  const frames = lines
    .slice(begin + 1)
    .map(frameOf)
    .filter((frame): frame is Frame => frame !== null);
  return {facts: lines.slice(0, begin), frames};
}

// What a list says of it in one line.
export function titleOf(message: string): string {
  const report = crashReportOf(message);
  if (!report) return message.split("\n", 1)[0] ?? "";
  const valueOf = (name: string) =>
    report.facts
      .find((fact) => fact.includes(name))
      ?.split(": ")
      .slice(1)
      .join(": ");
  const what = valueOf("Exception Name") ?? valueOf("Signal") ?? report.facts[1] ?? report.facts[0] ?? "crash";
  const top = report.frames[0];
  return top ? `${what} in ${top.where.replace(/\+0x[0-9a-f]+$/, "")}` : what;
}
