// Events in words.
import {money, number} from "./format";

// "impression_data.revenue" is a field of a field.
function fieldOf(record: unknown, path: string): string {
  const value = path
    .split(".")
    .reduce<unknown>(
      (of, name) => (typeof of === "object" && of !== null ? (of as {[name: string]: unknown})[name] : undefined),
      record,
    );
  return value === undefined || value === null ? "" : String(value);
}

function parsed(record: string): unknown {
  try {
    return JSON.parse(record);
  } catch {
    return null; // its beginning only
  }
}

const ifAny = (before: string, text: string): string => (text === "" ? "" : before + text);

type Of = (name: string) => string;
const WORDS: {readonly [category: string]: (of: Of) => string} = {
  user: (of) =>
    `session ${of("session_num")} begins${of("install") === "true" ? ", the first of this installation" : ""}`,
  session_end: (of) => `the session ends after ${of("length")} s`,
  business: (of) => `${of("event_id")} for ${money(Number(of("amount")), of("currency"))}`,
  resource: (of) => `${of("event_id")}: ${of("amount")}`,
  progression: (of) => `${of("event_id")}${ifAny(", score ", of("score"))}`,
  design: (of) => `${of("event_id")}${ifAny(" = ", of("value"))}`,
  error: (of) => `${of("severity")}: ${of("message")}`,
  ads: (of) =>
    `${of("ad_action")} ${of("ad_type")}, ${of("ad_sdk_name")}, ${of("ad_placement")}${ifAny(": ", of("ad_fail_show_reason"))}`,
  impression: (of) => {
    const revenue = of("impression_data.revenue");
    const paid = revenue === "" ? "" : `${number(Number(revenue))} ${of("impression_data.currency")}`;
    return `${of("ad_network_name")}${ifAny(": ", paid)}`;
  },
  // The library's own report of an argument that it refused, or of a trouble of its own.
  sdk_error: (of) =>
    `the library reports ${of("error_action").replaceAll("_", " ")} (${of("error_area")}${ifAny(", ", of("error_parameter"))})${ifAny(": ", of("reason"))}`,
};

export const KINDS: readonly string[] = Object.keys(WORDS);

// `record`: as an object, or as the text of one.
export function wordsOfEvent(category: string, given: unknown): string {
  const record = typeof given === "string" ? parsed(given) : given;
  return WORDS[category]?.((name) => fieldOf(record, name)) ?? "";
}

// The fields that reasons are about: each begins with the name of one.
export const fieldsNamedBy = (reasons: readonly string[]): string[] =>
  reasons.flatMap((reason) => /^(\w+):/.exec(reason)?.slice(1) ?? []);

// `design: "valu" is no field that is known`, `platform: "Linux" is not a word in lower case`: a kind and a field's name, or
// a field's name and its value.
const NOTE = /^(\w+: "(?:[^"\\]|\\.)*") (is .*)$/s;
export type Notes = ReadonlyMap<string, string>; // from what a note is about to what it says

export const notesOf = (notes: readonly string[]): Notes =>
  new Map(
    notes.flatMap((note) => {
      const [, about, says] = NOTE.exec(note) ?? [];
      return about === undefined || says === undefined ? [] : [[about, says]];
    }),
  );

const LONGEST_NOTED = 40; // characters of a value; of longer ones a note holds the beginning alone

// What the notes say of a record that was kept: by the names of its fields.
export function notedFields(category: string, record: unknown, notes: Notes): ReadonlyMap<string, string> {
  const fields = typeof record === "object" && record !== null ? Object.entries(record) : [];
  return new Map(
    fields.flatMap(([name, value]) => {
      const ofName = notes.get(`${category}: ${JSON.stringify(name)}`);
      const isText = typeof value === "string" && value.length < LONGEST_NOTED;
      const said = ofName ?? (isText ? notes.get(`${name}: ${JSON.stringify(value)}`) : undefined);
      return said === undefined ? [] : [[name, said]];
    }),
  );
}
