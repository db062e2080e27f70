// A document of configurations, as docs/configurations.md describes it.

export interface Conditions {
  readonly platforms?: readonly string[];
  readonly builds?: readonly string[];
  readonly share?: number; // percent
  readonly start_ts?: number;
  readonly end_ts?: number;
}

export interface Entry extends Conditions {
  readonly key: string;
  readonly value: unknown;
}

export interface Group {
  readonly id: string;
  readonly weight?: number;
  readonly configurations?: readonly Entry[];
}

export interface Experiment extends Conditions {
  readonly id: string;
  readonly groups: readonly Group[];
}

export interface Document {
  readonly configurations?: readonly Entry[];
  readonly experiments?: readonly Experiment[];
}

export interface Version {
  readonly version: number; // 0: there is none yet
  readonly at: number;
  readonly author: string;
  readonly note: string;
  readonly document: Document;
}

// As far as the form relies on it; the collector says what else is wrong.
export function hasShape(value: unknown): value is Document {
  const isObject = (item: unknown): item is {[name: string]: unknown} =>
    typeof item === "object" && item !== null && !Array.isArray(item);
  const areAll = (items: unknown, fits: (item: {[name: string]: unknown}) => boolean) =>
    items === undefined || (Array.isArray(items) && items.every((item) => isObject(item) && fits(item)));
  const isText = (text: unknown) => text === undefined || typeof text === "string";
  const areTexts = (texts: unknown) => texts === undefined || (Array.isArray(texts) && texts.every(isText));
  const fitsAnybody = (item: {[name: string]: unknown}) => areTexts(item.platforms) && areTexts(item.builds);
  const areEntries = (items: unknown) => areAll(items, (entry) => isText(entry.key) && fitsAnybody(entry));
  const isGroup = (group: {[name: string]: unknown}) => isText(group.id) && areEntries(group.configurations);
  return (
    isObject(value) &&
    areEntries(value.configurations) &&
    areAll(
      value.experiments,
      (each) => isText(each.id) && fitsAnybody(each) && Array.isArray(each.groups) && areAll(each.groups, isGroup),
    )
  );
}

// Whether two players of different platforms or builds may get different values.
export function dependsOnKind({configurations = [], experiments = []}: Document): boolean {
  return [...configurations, ...experiments].some(
    ({platforms = [], builds = []}) => platforms.length > 0 || builds.length > 0,
  );
}

export interface Kind {
  readonly platform: string;
  readonly build: string;
}

// The kinds of players that conditions name; of what they leave open, any other.
export function kindsNamed({configurations = [], experiments = []}: Document): Kind[] {
  const orOther = (names: readonly string[] | undefined) => (names === undefined || names.length === 0 ? [""] : names);
  return [...configurations, ...experiments].flatMap(({platforms, builds}) =>
    orOther(platforms).flatMap((platform) => orOther(builds).map((build) => ({platform, build}))),
  );
}

// "document.experiments[0].groups[1].id: it must be text" as what the form shows: "experiment 1, group 2, id: ..."
const NAMES: {readonly [name: string]: string} = {
  configurations: "value",
  experiments: "experiment",
  groups: "group",
  share: "percent of players",
  start_ts: "from",
  end_ts: "until",
};
export function placesInWords(reason: string): string {
  const named = (name: string) => NAMES[name] ?? name;
  const inWords = (part: string) =>
    part.replace(/^(\w+)(?:\[(\d+)\])?$/, (_, name: string, at?: string) =>
      at === undefined ? named(name) : `${named(name)} ${Number(at) + 1}`,
    );
  return reason
    .replace(/\bdocument\.([\w.[\]]+)/g, (_, path: string) => path.split(".").map(inWords).join(", "))
    .replace(/\b(start|end)_ts\b/g, named);
}

// The game's readers take text; what isn't one stays what it is, written as JSON.
export const textOfValue = (value: unknown): string =>
  typeof value === "string" ? value : (JSON.stringify(value) ?? "");

export function valueOfText(text: string, before: unknown): unknown {
  if (typeof before === "string" || before === undefined) return text;
  try {
    return JSON.parse(text);
  } catch {
    return text;
  }
}

// Without the members that say nothing: a missing one is the same.
export function tidied<Item extends object>(item: Item): Item {
  const isSaid = (value: unknown) =>
    value !== undefined && value !== null && !(Array.isArray(value) && value.length === 0);
  return Object.fromEntries(Object.entries(item).filter(([, value]) => isSaid(value))) as Item;
}

export const replacedAt = <Item>(items: readonly Item[], index: number, item: Item): Item[] =>
  items.map((each, at) => (at === index ? item : each));
export const withoutAt = <Item>(items: readonly Item[], index: number): Item[] => items.filter((_, at) => at !== index);

export function movedUp<Item>(items: readonly Item[], index: number): Item[] {
  const moved = [...items];
  moved.splice(Math.max(0, index - 1), 0, ...moved.splice(index, 1));
  return moved;
}

interface Given {
  readonly key: string;
  readonly value: unknown;
  readonly start_ts: number | null;
  readonly end_ts: number | null;
}

// What the game takes of what it is given: the last entry of a key that is in force.
export function inForce(given: readonly Given[], now: number): Map<string, string> {
  const values = new Map<string, string>();
  for (const {key, value, start_ts, end_ts} of given)
    if ((start_ts ?? 0) <= now && now < (end_ts ?? Infinity)) values.set(key, textOfValue(value));
  return values;
}
