// Fields of a form that say when they were changed: on leaving them, so that nobody types against a correction.
import type {Conditions} from "../configuration";
import {moment} from "../format";

interface Props<Value> {
  title: string;
  value: Value;
  set: (value: Value) => void;
  isOff?: boolean;
}

export function TextField({title, value, set, isOff, placeholder}: Props<string> & {placeholder?: string}) {
  return (
    <label>
      {title}
      <input
        type="text"
        value={value}
        disabled={isOff}
        placeholder={placeholder}
        onChange={({currentTarget}) => set(currentTarget.value)}
      />
    </label>
  );
}

export function NumberField({
  title,
  value,
  set,
  isOff,
  most,
  usual,
}: Props<number | undefined> & {most: number; usual: number}) {
  return (
    <label>
      {title}
      <input
        type="number"
        min={0}
        max={most}
        step={1}
        placeholder={String(usual)}
        value={value ?? ""}
        disabled={isOff}
        onChange={({currentTarget}) => set(currentTarget.value === "" ? undefined : Number(currentTarget.value))}
      />
    </label>
  );
}

function ListField({title, value, set, isOff}: Props<readonly string[] | undefined>) {
  const split = (text: string) =>
    text
      .split(",")
      .map((each) => each.trim())
      .filter((each) => each !== "");
  return (
    <TextField
      title={title}
      isOff={isOff}
      placeholder="all"
      value={(value ?? []).join(", ")}
      set={(text) => set(split(text))}
    />
  );
}

const two = (value: number) => String(value).padStart(2, "0");

// A time as the reader's clock shows it.
function localText(seconds: number | undefined): string {
  if (seconds === undefined) return "";
  const at = new Date(seconds * 1000);
  return `${at.getFullYear()}-${two(at.getMonth() + 1)}-${two(at.getDate())}T${two(at.getHours())}:${two(at.getMinutes())}`;
}

// A browser says "change" at each digit of a year, so a time counts on leaving the field.
function TimeField({title, value, set, isOff}: Props<number | undefined>) {
  return (
    <label>
      {title}
      <input
        type="datetime-local"
        value={localText(value)}
        disabled={isOff}
        onBlur={({currentTarget: {value: text}}) => {
          if (text !== localText(value)) set(text === "" ? undefined : Math.floor(new Date(text).getTime() / 1000));
        }}
      />
    </label>
  );
}

const listed = (values: readonly string[] | undefined, all: string): string =>
  values === undefined || values.length === 0 ? all : values.join(" or ");

function wordsOf({platforms, builds, share, start_ts, end_ts}: Conditions): string {
  const who = [
    listed(platforms, "all platforms"),
    listed(builds, "all builds"),
    share === undefined ? "all players" : `${share} % of the players`,
  ];
  const when = [
    start_ts === undefined ? "" : `from ${moment(start_ts)}`,
    end_ts === undefined ? "" : `until ${moment(end_ts)}`,
  ].filter((each) => each !== "");
  return `${who.join(", ")}, ${when.length === 0 ? "always" : when.join(" ")}`;
}

// For whom and when, in words until they are to be changed.
export function ConditionFields({
  of,
  set,
  isOff,
}: {
  of: Conditions;
  set: (changes: Conditions) => void;
  isOff: boolean;
}) {
  return (
    <details class="conditions">
      <summary>{wordsOf(of)}</summary>
      <div class="choices">
        <ListField title="Platforms" value={of.platforms} set={(platforms) => set({platforms})} isOff={isOff} />
        <ListField title="Builds" value={of.builds} set={(builds) => set({builds})} isOff={isOff} />
        <NumberField
          title="Percent of players"
          value={of.share}
          most={100}
          usual={100}
          set={(share) => set({share})}
          isOff={isOff}
        />
        <TimeField title="From (your clock)" value={of.start_ts} set={(start_ts) => set({start_ts})} isOff={isOff} />
        <TimeField title="Until (your clock)" value={of.end_ts} set={(end_ts) => set({end_ts})} isOff={isOff} />
      </div>
    </details>
  );
}
