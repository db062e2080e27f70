// The bar on top: whose numbers, of which days, of which players. A narrow window shows it in a line, which unfolds.
import {useEffect, useRef, useState} from "preact/hooks";
import {FILTERS, go, UNFILTERED, useView, type FilterName, type Values} from "../address";
import type {Json} from "../api";
import {useQuestion} from "../asked";
import {day, many} from "../format";
import {dayNumber, daysIn, daysLater, isDay, today} from "../days";
import {byVersion, groupedBy, sumOf, textOf, type Row} from "../rows";

type Games = Json<"/api/games">;

export function nameOf(key: string | undefined, games: Games): string {
  const name = games.find((game) => game.key === key)?.name ?? "";
  return name === "" ? (key ?? "") : name;
}

const TITLES: Record<FilterName, string> = {
  build: "Build",
  platform: "Platform",
  custom_01: "Dimension 1",
  custom_02: "Dimension 2",
  custom_03: "Dimension 3",
  ab_id: "Experiment",
  ab_variant_id: "Group",
};

const PRESETS = [
  [1, "Today"],
  [7, "7 days"],
  [14, "14 days"],
  [30, "30 days"],
  [90, "90 days"],
  [365, "A year"],
] as const;
export const USUAL_DAYS = 30;

// What the filters can be set to: what the records of these days say. Builds come newest first, all else by players.
type Choices = Readonly<Record<FilterName, readonly string[]>>;

function choicesOf(rows: readonly Row[]): Choices {
  const of = (name: FilterName) => {
    const players = [...groupedBy(rows, (row) => textOf(row[name]))].map(
      ([value, group]) => [value, sumOf(group, "players")] as const,
    );
    return players
      .sort((one, other) => (name === "build" ? byVersion(other[0], one[0]) : other[1] - one[1]))
      .map(([value]) => value);
  };
  return Object.fromEntries(FILTERS.map((name) => [name, of(name)])) as Record<FilterName, string[]>;
}

function Filter({name, found}: {name: FilterName; found: readonly string[]}) {
  const view = useView();
  const current = view.values[name];
  const choices = current === undefined || found.includes(current) ? found : [current, ...found];
  const isUsed = choices.some((value) => value !== "");
  if (!isUsed && name !== "build" && name !== "platform") return null; // the game has no such thing
  return (
    <label>
      {TITLES[name]}
      <select
        value={current === undefined ? "" : `=${current}`}
        onChange={({currentTarget: {value}}) => go(view, {[name]: value === "" ? undefined : value.slice(1)})}
      >
        <option value="">all</option>
        {choices.map((value) => (
          <option key={value} value={`=${value}`}>
            {value === "" ? "none" : value}
          </option>
        ))}
      </select>
    </label>
  );
}

const presetOf = (from: string, to: string) =>
  to === today() ? PRESETS.find(([days]) => days === daysIn(from, to)) : undefined;

function Period() {
  const view = useView();
  const {from = today(), to = today()} = view.values;
  const preset = presetOf(from, to)?.[0];
  const set = (name: "from" | "to", value: string) => {
    if (!isDay(value)) return;
    const other =
      name === "from"
        ? {to: dayNumber(value) > dayNumber(to) ? value : to}
        : {from: dayNumber(value) < dayNumber(from) ? value : from};
    go(view, {...other, [name]: value});
  };
  return (
    <>
      <label>
        Time
        <select
          value={preset ?? ""}
          onChange={({currentTarget: {value}}) =>
            value !== "" && go(view, {from: daysLater(today(), 1 - Number(value)), to: today()})
          }
        >
          {preset === undefined && <option value="">Custom</option>}
          {PRESETS.map(([days, title]) => (
            <option key={days} value={days}>
              {title}
            </option>
          ))}
        </select>
      </label>
      <label class="date">
        From
        <input type="date" value={from} min="1970-01-01" onChange={({currentTarget: {value}}) => set("from", value)} />
      </label>
      <label class="date">
        To
        <input type="date" value={to} min="1970-01-01" onChange={({currentTarget: {value}}) => set("to", value)} />
      </label>
    </>
  );
}

// Also one that the address names and nobody knows, which the page then says.
function keysOf(games: Games, chosen: string | undefined): string[] {
  const keys = games.map(({key}) => key);
  return chosen === undefined || keys.includes(chosen) ? keys : [chosen, ...keys];
}

// What is chosen, in a line.
function wordsOf({game, from = today(), to = today(), ...others}: Values, games: Games, isOfNow: boolean): string {
  if (isOfNow) return nameOf(game, games);
  const days = presetOf(from, to)?.[1] ?? (from === to ? day(from) : `${day(from)} – ${day(to)}`);
  const filters = FILTERS.filter((name) => others[name] !== undefined).length;
  return [nameOf(game, games), days, filters === 0 ? "" : many(filters, "filter")]
    .filter((each) => each !== "")
    .join(" · ");
}

const isFiltered = (values: Values): boolean => FILTERS.some((name) => values[name] !== undefined);

function Players() {
  const view = useView();
  const asked = useQuestion("segments", UNFILTERED); // one question for all of them
  const choices = choicesOf(asked.value?.rows ?? []);
  return (
    <div class="filters" aria-busy={asked.isAsking}>
      {FILTERS.map((name) => (
        <Filter key={name} name={name} found={choices[name]} />
      ))}
      {isFiltered(view.values) && (
        <button type="button" onClick={() => go(view, UNFILTERED)}>
          No filters
        </button>
      )}
    </div>
  );
}

// `isOfNow`: the page takes neither days nor filters.
export function TopBar({games, isOfNow}: {games: Games; isOfNow: boolean}) {
  const [isOpen, setOpen] = useState(false);
  const fold = useRef<HTMLButtonElement>(null);
  const leave = (event: KeyboardEvent) => {
    if (event.key !== "Escape" || !isOpen) return;
    setOpen(false);
    fold.current?.focus();
  };
  const view = useView();
  useEffect(() => setOpen(false), [view.page]);
  return (
    <>
      <button
        type="button"
        class="fold"
        ref={fold}
        aria-expanded={isOpen}
        aria-controls="bar"
        onClick={() => setOpen(!isOpen)}
      >
        {wordsOf(view.values, games, isOfNow)}
      </button>
      <form
        id="bar"
        class={`bar ${isOpen ? "" : "folded"} ${isFiltered(view.values) ? "filtered" : ""}`}
        onKeyDown={leave}
        aria-label={isOfNow ? "Game" : "Game, time and filters"}
        onSubmit={(event) => event.preventDefault()}
      >
        <label>
          Game
          <select
            value={view.values.game}
            onChange={({currentTarget: {value}}) => go(view, {...UNFILTERED, game: value})}
          >
            {keysOf(games, view.values.game).map((key) => (
              <option key={key} value={key}>
                {nameOf(key, games)}
              </option>
            ))}
          </select>
        </label>
        {!isOfNow && (
          <>
            <Period />
            <Players />
          </>
        )}
      </form>
    </>
  );
}
