// One player: found by the beginning of an id, and their life, session by session. Their data can be taken out and erased.
import {useContext, useEffect, useState} from "preact/hooks";
import {addressOf, changed, correct, go, UNFILTERED, useView} from "../address";
import {change, questionUrl} from "../api";
import {useQuestion, wordsOf, type Own} from "../asked";
import {CALLS} from "../calls";
import {dayStart, dayText, eachDay} from "../days";
import {wordsOfEvent} from "../events";
import {clock, day, duration, many, moment, whole} from "../format";
import {Chart} from "../parts/chart";
import {DataTable} from "../parts/data-table";
import {Record} from "../parts/record";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {groupedBy, numberOf, numberOrNull, textOf, type Row} from "../rows";
import {SessionContext} from "../session";

const PAUSE_MS = 300; // of who types, before anything is asked

function Find() {
  const view = useView();
  const {starts = ""} = view.values;
  const [typed, setTyped] = useState(starts);
  useEffect(() => setTyped(starts), [starts]);
  useEffect(() => {
    const wanted = typed.trim();
    if (wanted === starts) return;
    const find = () =>
      correct({page: view.page, values: changed(view.values, {starts: wanted === "" ? undefined : wanted})});
    const timer = setTimeout(find, PAUSE_MS);
    return () => clearTimeout(timer);
  }, [typed]);
  return (
    <Section
      title="Find a player"
      rows={{category: "user"}}
      how="The first hundred players who began a session in this time, in the order of their ids, with the first and the last day on which they did."
    >
      <form class="choices" onSubmit={(event) => event.preventDefault()}>
        <label>
          The id begins with
          <input type="search" name="starts" value={typed} onInput={({currentTarget: {value}}) => setTyped(value)} />
        </label>
        {starts !== "" && (
          <button type="button" onClick={() => go(view, {player: starts})}>
            Open it as a whole id
          </button>
        )}
      </form>
      <Answered
        of={useQuestion("players", {starts: starts === "" ? undefined : starts, limit: 100})}
        what="the players"
      >
        {({rows}) =>
          rows.length === 0 && starts !== "" ? (
            <p class="note">
              Nobody with such an id began a session in this time, with these filters. Ask for more days; if this is the
              whole id, open it: a life is shown whatever the bar on top says.
            </p>
          ) : rows.length === 0 ? (
            <Empty what="players" call={CALLS.start} />
          ) : (
            <DataTable
              caption="Players"
              file="players"
              rows={rows}
              columns={[
                {
                  name: "user_id",
                  title: "Player",
                  show: (value) => (
                    <a href={addressOf({page: view.page, values: changed(view.values, {player: textOf(value)})})}>
                      <bdi>{value}</bdi>
                    </a>
                  ),
                },
                {name: "first_day", title: "First day", show: (value) => day(textOf(value))},
                {name: "last_day", title: "Last day", show: (value) => day(textOf(value))},
              ]}
            />
          )
        }
      </Answered>
    </Section>
  );
}

const MOST = 2000;
const MOST_SEARCHED = 4000; // characters of a record
// All of a life, whatever the bar on top says.
const wholeLife = (player: string): Own => ({
  ...UNFILTERED,
  from: "1970-01-01",
  to: "9999-12-31",
  user_id: player,
  limit: MOST,
});

function Event({row}: {row: Row}) {
  const [isOpen, setOpen] = useState(false);
  const category = textOf(row.category);
  const record = textOf(row.record);
  return (
    <li class={isBad(row) ? "arrival bad" : "arrival"}>
      <details open={isOpen} onToggle={({currentTarget}) => setOpen(currentTarget.open)}>
        <summary>
          <time>{row.client_ts === null ? "no time" : clock(numberOf(row.client_ts))}</time>
          <span class="kind">{category}</span>
          <bdi class="words">{wordsOfEvent(category, record)}</bdi>
        </summary>
        {isOpen && (
          <>
            <p class="note">Arrived {moment(numberOrNull(row.received_at))}</p>
            <Record record={record} />
          </>
        )}
      </details>
    </li>
  );
}

const dayOf = (seconds: number): string => dayText(Math.floor(seconds / 86_400));
const isBad = (row: Row): boolean => row.category === "error" || row.category === "sdk_error";
const timesOf = (rows: readonly Row[]): number[] =>
  rows.map((row) => numberOrNull(row.client_ts)).filter((time) => time !== null);

const beginOf = (rows: readonly Row[]): number => Math.min(...timesOf(rows));

// Of one second, a session's beginning comes first and its end last.
const PLACES: {readonly [category: string]: number} = {user: -1, session_end: 1};
const placeOf = (row: Row): number => PLACES[textOf(row.category)] ?? 0;
const inOrder = (rows: readonly Row[]): Row[] =>
  [...rows].sort((one, other) => numberOf(one.client_ts) - numberOf(other.client_ts) || placeOf(one) - placeOf(other));

// As the game counts them; cut short a record is no JSON any more.
const numberOfSession = (row: Row | undefined): string =>
  /"session_num":\s*(\d+)/.exec(textOf(row?.record).slice(0, MOST_SEARCHED))?.[1] ?? "";

function Session({rows, isOpen}: {rows: readonly Row[]; isOpen: boolean}) {
  const times = timesOf(rows);
  const bad = rows.filter(isBad).length;
  const begin = times.length === 0 ? null : Math.min(...times);
  const [isShown, setShown] = useState(isOpen);
  return (
    <li class="session">
      <details open={isShown} onToggle={({currentTarget}) => setShown(currentTarget.open)}>
        <summary>
          <strong>
            {textOf(rows[0]?.session_id) === "" ? "Outside of sessions" : `Session ${numberOfSession(rows[0])}`}
          </strong>{" "}
          {begin === null ? "without a time" : moment(begin)},{" "}
          {begin === null ? "" : `${duration(Math.max(...times) - begin)}, `}
          {many(rows.length, "event")}
          {bad > 0 && <span class="severity error">, {many(bad, "error")}</span>}
        </summary>
        {isShown && (
          <ol class="arrivals">
            {inOrder(rows).map((row, index) => (
              <Event key={index} row={row} />
            ))}
          </ol>
        )}
      </details>
    </li>
  );
}

// When they played, and how much: a bar for each day from their first to their latest.
function Times({rows}: {rows: readonly Row[]}) {
  const times = timesOf(rows);
  const days = times.length === 0 ? [] : eachDay(dayOf(Math.min(...times)), dayOf(Math.max(...times)));
  if (days.length < 2) return null;
  const counts = new Map([...groupedBy(times, (time) => dayOf(time))].map(([day_, of]) => [day_, of.length]));
  return (
    <Chart
      title="Events by day"
      file="life"
      x={days.map(dayStart)}
      xTitle="Day"
      bars
      format={whole}
      series={[{label: "Events", values: days.map((each) => counts.get(each) ?? 0)}]}
    />
  );
}

function Erase({player, say, onErased}: {player: string; say: (words: string) => void; onErased: () => void}) {
  const view = useView();
  const [typed, setTyped] = useState("");
  const isOff = useContext(SessionContext).level !== "editing";
  const erase = async (event: Event_) => {
    event.preventDefault();
    say("Erasing.");
    try {
      const {events, pending} = await change("delete", "/api/player", {game: view.values.game ?? "", user_id: player});
      say(
        `Erased: ${many(events, "event")} of this player.${pending ? " The warehouse follows as soon as it is there." : ""} Backups still hold them.`,
      );
      onErased();
    } catch (failure) {
      say(`Nothing was erased: ${wordsOf(failure)}.`);
    }
  };
  return (
    <details>
      <summary>Erase this player</summary>
      {isOff && <p class="note">You are signed in for reading. To erase, sign in with the token for editing.</p>}
      <form class="choices" onSubmit={erase}>
        <p>
          All events of this player in this game are removed for good, here and in the warehouse. Type the id, or copy
          it from above, to go on.
        </p>
        <label>
          Id
          <input
            value={typed}
            name="erase"
            disabled={isOff}
            autocomplete="off"
            onInput={({currentTarget: {value}}) => setTyped(value)}
          />
        </label>
        <button type="submit" class="danger" disabled={isOff || typed !== player}>
          Erase for good
        </button>
      </form>
    </details>
  );
}
type Event_ = globalThis.Event;

function Life({player}: {player: string}) {
  const view = useView();
  const asked = useQuestion("player", wholeLife(player));
  const [said, setSaid] = useState("");
  const own = {game: view.values.game, ...wholeLife(player), limit: 10_000};
  return (
    <Section
      title="The life of a player"
      how={`All that this player sent to this game, at any time and whatever else the bar on top says: the first ${whole(MOST)} events in the order of their times. The export has up to 10,000.`}
    >
      <p>
        <a href={addressOf({page: view.page, values: changed(view.values, {player: undefined})})}>Find another</a>
      </p>
      <p class="player">
        <bdi>{player}</bdi>
      </p>
      <p role="status">{said}</p>
      <Answered of={asked} what="this player">
        {({rows}) => {
          if (rows.length === 0) return <p class="note">There is nothing of a player with this id.</p>;
          const sessions = [...groupedBy(rows, (row) => textOf(row.session_id)).values()].sort(
            (one, other) => beginOf(other) - beginOf(one), // the newest first
          );
          return (
            <>
              <Times rows={rows} />
              <p>
                {rows.length === MOST && "The first "}
                {many(rows.length, "event")} in {many(sessions.length, "session")}
                {timesOf(rows).length > 0 &&
                  `, from ${moment(Math.min(...timesOf(rows)))} to ${moment(Math.max(...timesOf(rows)))}`}
                . {many(rows.filter(isBad).length, "error")},{" "}
                {many(rows.filter((row) => row.category === "business").length, "purchase")}.{" "}
                <a href={questionUrl("player", own)} download="player.json">
                  Export as JSON
                </a>{" "}
                <a href={questionUrl("player", {...own, form: "csv"})} download="player.csv">
                  as CSV
                </a>
              </p>
              <Erase player={player} say={setSaid} onErased={asked.again} />
              <ol class="sessions">
                {sessions.map((each, index) => (
                  <Session key={index} rows={each} isOpen={index === 0} />
                ))}
              </ol>
            </>
          );
        }}
      </Answered>
    </Section>
  );
}

export function Players() {
  const {player} = useView().values;
  return player === undefined ? <Find /> : <Life key={player} player={player} />;
}
