// One player: found by the beginning of an id, and their life, session by session. Their data can be taken out and erased.
import {useState} from "preact/hooks";
import {addressOf, changed, FILTERS, go, useView} from "../address";
import {change, questionUrl} from "../api";
import {useQuestion, wordsOf, type Own} from "../asked";
import {CALLS} from "../calls";
import {wordsOfEvent} from "../events";
import {clock, day, duration, many, moment, whole} from "../format";
import {DataTable} from "../parts/data-table";
import {Record} from "../parts/record";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {groupedBy, numberOf, numberOrNull, textOf, type Row} from "../rows";

function Find() {
  const view = useView();
  const {starts = ""} = view.values;
  return (
    <Section
      title="Find a player"
      rows={{category: "user"}}
      how="The first hundred players who began a session in this time, in the order of their ids; the days are the first and the last on which they did."
    >
      <form class="choices" onSubmit={(event) => event.preventDefault()}>
        <label>
          The id begins with
          <input
            type="search"
            name="starts"
            value={starts}
            onChange={({currentTarget: {value}}) => go(view, {starts: value.trim() === "" ? undefined : value.trim()})}
          />
        </label>
        {starts !== "" && (
          <button type="button" onClick={() => go(view, {player: starts})}>
            This is the whole id
          </button>
        )}
      </form>
      <Answered
        of={useQuestion("players", {starts: starts === "" ? undefined : starts, limit: 100})}
        what="the players"
      >
        {({rows}) =>
          rows.length === 0 ? (
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
// All of a life, whatever the bar on top says.
const wholeLife = (player: string): Own => ({
  ...Object.fromEntries(FILTERS.map((name) => [name, undefined])),
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
    <li class={category === "error" || category === "sdk_error" ? "arrival bad" : "arrival"}>
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

function Session({number, rows, isOpen}: {number: number; rows: readonly Row[]; isOpen: boolean}) {
  const times = rows.map((row) => numberOrNull(row.client_ts)).filter((time) => time !== null);
  const begin = times.length === 0 ? null : Math.min(...times);
  const [isShown, setShown] = useState(isOpen);
  return (
    <li class="session">
      <details open={isShown} onToggle={({currentTarget}) => setShown(currentTarget.open)}>
        <summary>
          <strong>{textOf(rows[0]?.session_id) === "" ? "Outside of sessions" : `Session ${number}`}</strong>{" "}
          {begin === null ? "without a time" : moment(begin)},{" "}
          {begin === null ? "" : `${duration(Math.max(...times) - begin)}, `}
          {many(rows.length, "event")}
        </summary>
        {isShown && (
          <ol class="arrivals">
            {rows.map((row, index) => (
              <Event key={index} row={row} />
            ))}
          </ol>
        )}
      </details>
    </li>
  );
}

function Erase({player, say}: {player: string; say: (words: string) => void}) {
  const view = useView();
  const [typed, setTyped] = useState("");
  const erase = async (event: Event_) => {
    event.preventDefault();
    say("Erasing.");
    try {
      const {events, pending} = await change("delete", "/api/player", {game: view.values.game ?? "", user_id: player});
      say(
        `Erased: ${many(events, "event")}.${pending ? " The warehouse follows as soon as it is there." : ""} Backups still hold them.`,
      );
    } catch (failure) {
      say(`Nothing was erased: ${wordsOf(failure)}.`);
    }
  };
  return (
    <details>
      <summary>Erase this player</summary>
      <form class="choices" onSubmit={erase}>
        <p>All events of this player are removed for good, here and in the warehouse. Type the id to go on.</p>
        <label>
          Id
          <input
            value={typed}
            name="erase"
            autocomplete="off"
            onInput={({currentTarget: {value}}) => setTyped(value)}
          />
        </label>
        <button type="submit" class="danger" disabled={typed !== player}>
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
  const say = (words: string) => {
    setSaid(words);
    asked.again();
  };
  const own = {game: view.values.game, ...wholeLife(player), limit: 10_000};
  return (
    <Section
      title="The life of a player"
      how={`The first ${whole(MOST)} events in the order of their times, each as the game sent it; the export has up to 10,000. All of the time counts, whatever the bar on top says but for the game.`}
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
          const sessions = [...groupedBy(rows, (row) => textOf(row.session_id)).values()];
          return (
            <>
              <p>
                {many(rows.length, "event")} in {many(sessions.length, "session")}.{" "}
                <a href={questionUrl("player", own)} download="player.json">
                  Export as JSON
                </a>{" "}
                <a href={questionUrl("player", {...own, form: "csv"})} download="player.csv">
                  as CSV
                </a>
              </p>
              <ol class="sessions">
                {sessions.map((each, index) => (
                  <Session key={index} number={index + 1} rows={each} isOpen={index === 0} />
                ))}
              </ol>
              <Erase player={player} say={say} />
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
