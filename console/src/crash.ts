// A crash report as the library writes it: facts, then frames, innermost first. Other messages have no frames.
export interface Frame {
  readonly number: string;
  readonly module: string; // its file
  readonly name: string; // the function; empty where it isn't known
  readonly offset: string; // in the function, or in the module where the function isn't known
  readonly isSystem: boolean;
}

export interface CrashReport {
  readonly facts: readonly string[];
  readonly frames: readonly Frame[];
  readonly culprit: number; // the frame that crashed: the ones before are those of the crash's handling
}

const FRAME = /^\s*(\d+)\s+-?\s*(.*)$/;
const PLACE = /^(.+?)\((.*?)(\+0x[0-9a-f]+)?\)\s*(?:\[[^\]]*\])?$/;
// A report of a signal has the word in an odd spelling.
const BEGIN = /^stack ?trace:?n?$/i;
const SYSTEM = /^(\/usr)?\/lib(32|64)?\/|linux-vdso|\/(libc|libstdc\+\+|libgcc_s|libpthread|ld-linux)[^/]*\.so/;
const ENTRY = /^(main|_start)$/;

// The names that the compiler gives to what the game calls a string.
const LONG_NAMES = [
  [/std::(__cxx11::)?basic_string<char, std::char_traits<char>, std::allocator<char> ?>/g, "std::string"],
  [/std::basic_string_view<char, std::char_traits<char> ?>/g, "std::string_view"],
] as const;
const shortened = (name: string): string => LONG_NAMES.reduce((text, [long, short]) => text.replace(long, short), name);

function frameOf(line: string): Frame | null {
  const found = FRAME.exec(line);
  if (!found) return null;
  const [, number = "", rest = ""] = found;
  const place = PLACE.exec(rest);
  if (!place) return {number, module: "", name: rest, offset: "", isSystem: false};
  const [, module = "", name = "", offset = ""] = place;
  return {number, module, name: shortened(name), offset, isSystem: SYSTEM.test(module)};
}

// The library's handler comes first, then the system's code that called it, then what crashed. A report of which the
// handler isn't a part has system code at its other end only.
function culpritOf(frames: readonly Frame[]): number {
  const called = frames.findIndex((frame) => frame.isSystem);
  const crashed = frames.findIndex((frame, index) => index > called && !frame.isSystem);
  const entered = frames.findIndex((frame) => ENTRY.test(frame.name));
  return called < 0 || crashed < 0 || (entered >= 0 && entered < called) ? 0 : crashed;
}

export const fileOf = ({module}: Frame): string => module.split("/").at(-1) ?? "";
export const placeOf = (frame: Frame): string => (frame.name === "" ? fileOf(frame) + frame.offset : frame.name);

export function crashReportOf(message: string): CrashReport | null {
  const lines = message
    .split("\n")
    .map((line) => line.trimEnd())
    .filter((line) => line !== "");
  const begin = lines.findIndex((line) => BEGIN.test(line.trim()));
  if (begin < 0) return null;
  const frames = lines
    .slice(begin + 1)
    .map(frameOf)
    .filter((frame): frame is Frame => frame !== null);
  return {facts: lines.slice(0, begin), frames, culprit: culpritOf(frames)};
}

export function exceptionOf({facts}: CrashReport): string {
  const fact = facts.find((each) => each.startsWith("Exception Name: "));
  return fact === undefined ? "" : fact.slice("Exception Name: ".length);
}

// What a list says of it in one line.
export function titleOf(message: string): string {
  const report = crashReportOf(message);
  if (!report) return message.split("\n", 1)[0] ?? "";
  const what = exceptionOf(report) || "Crash";
  const frame = report.frames[report.culprit];
  return frame ? `${what} in ${placeOf(frame)}` : what;
}

// What two crashes share that are one: the exception's type and the game's functions. Offsets in functions change with
// each build, system code with each machine, and the exception's text with what the player did.
export function signatureOf(message: string): string {
  const report = crashReportOf(message);
  if (!report || report.frames.length === 0) return message;
  const own = report.frames.slice(report.culprit).filter((frame) => !frame.isSystem);
  return [exceptionOf(report), ...own.map(placeOf)].join("\n");
}
