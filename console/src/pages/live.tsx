// What arrives this second: the page of the programmer who wants to see an event arrive, or why it was refused.
import {useMemo, useState} from "preact/hooks";
import {addressElsewhere, go, UNFILTERED, useView} from "../address";
import {get, type Json} from "../api";
import {quietly, useAsked, useQuestion} from "../asked";
import {CALLS} from "../calls";
import {fieldsNamedBy, KINDS, notedFields, notesOf, wordsOfEvent, type Notes} from "../events";
import {clock, many, moment, number, whole} from "../format";
import {isTrouble, liveUrl, useLive, useSteps, type Arrival, type Looking, type Stream} from "../live";
import {DataTable} from "../parts/data-table";
import {Record} from "../parts/record";
import {Section} from "../parts/section";
import {Answered} from "../parts/states";
import {numberOrNull, textOf} from "../rows";

const markedOf = (arrival: Arrival): string[] =>
  arrival.category === "sdk_error" ? ["error_parameter", "reason"] : fieldsNamedBy(arrival.reasons);

const TOO_LONG = "the record is too long to be shown here";
const LONGEST = 500; // characters of a line; three lines of them are seen

function One({arrival, notes}: {arrival: Arrival; notes: Notes}) {
  const view = useView();
  const [isOpen, setOpen] = useState(false);
  const noted = useMemo(() => notedFields(arrival.category, arrival.record, notes), [arrival, notes]);
  const kind = isTrouble(arrival) ? "arrival bad" : noted.size > 0 ? "arrival noted" : "arrival";
  const words = arrival.isRefused
    ? arrival.reasons.join("; ")
    : arrival.record === null
      ? TOO_LONG
      : wordsOfEvent(arrival.category, arrival.record);
  const notedWords = [...noted].map(([name, says]) => `${name} ${says}`).join("; ");
  return (
    <li class={kind}>
      <details open={isOpen} onToggle={({currentTarget}) => setOpen(currentTarget.open)}>
        <summary>
          <time>{clock(arrival.receivedAt)}</time>
          <span class="kind">{arrival.isRefused ? "refused" : arrival.category}</span>
          <span class="words">
            <bdi>{words.slice(0, LONGEST)}</bdi>
            {notedWords !== "" && (
              <>
                {" "}
                <bdi class="says">noted: {notedWords.slice(0, LONGEST)}</bdi>
              </>
            )}
          </span>
          <bdi class="who">{[arrival.platform, arrival.build].filter((each) => each !== "").join(" ")}</bdi>
        </summary>
        {isOpen && (
          <>
            {arrival.userId !== "" && (
              <p class="note">
                Player{" "}
                <a href={addressElsewhere(view, "players", {player: arrival.userId})}>
                  <bdi>{arrival.userId}</bdi>
                </a>
                {" · "}
                <button type="button" onClick={() => go(view, {live_player: arrival.userId})}>
                  Only this player
                </button>{" "}
                {arrival.sessionId !== "" && (
                  <button type="button" onClick={() => go(view, {live_session: arrival.sessionId})}>
                    Only this session
                  </button>
                )}
              </p>
            )}
            {arrival.record === null ? (
              <p class="note">{TOO_LONG}</p>
            ) : (
              <Record record={arrival.record} marked={[...markedOf(arrival), ...noted.keys()]} />
            )}
          </>
        )}
      </details>
    </li>
  );
}

const STATES: {readonly [state in Stream["state"]]: string} = {
  connecting: "Connecting with the collector.",
  open: "Connected: what arrives appears here within a second.",
  away: "There is no connection with the collector, or too many listen. It is tried again every few seconds.",
};

function Filter({name, title}: {name: "live_player" | "live_session"; title: string}) {
  const view = useView();
  return (
    <label>
      {title}
      <input
        type="search"
        value={view.values[name] ?? ""}
        placeholder="all"
        onChange={({currentTarget: {value}}) => go(view, {[name]: value.trim() === "" ? undefined : value.trim()})}
      />
    </label>
  );
}

function Copy({url}: {url: string}) {
  const [isCopied, setCopied] = useState(false);
  const [isOpen, setOpen] = useState(false);
  const command = `curl -N -H "Authorization: Bearer $TOKEN" "${new URL(url, location.href).href}"`;
  // Browsers keep the clipboard from pages that came neither over HTTPS nor from this machine.
  const copy = async () => {
    try {
      await navigator.clipboard.writeText(command);
      setCopied(true);
    } catch {
      setOpen(true);
    }
  };
  return (
    <>
      <button type="button" onClick={copy}>
        {isCopied ? "Copied" : "Copy as curl"}
      </button>
      <details open={isOpen} onToggle={({currentTarget}) => setOpen(currentTarget.open)}>
        <summary>The same on a command line</summary>
        <pre>
          <code>{command}</code>
        </pre>
      </details>
    </>
  );
}

const WRONG = "wrong"; // among the kinds, of which it is none

interface NothingProps {
  looking: Looking;
  state: Stream["state"];
  isAny: boolean;
}

function Nothing({looking, state, isAny}: NothingProps) {
  if (isAny) return <p class="note">None of what arrived lately is of this kind.</p>;
  if (state !== "open") return null; // who isn't connected doesn't know what arrives
  if (looking.user_id !== undefined || looking.session_id !== undefined)
    return <p class="note">Nothing of this player or session lately.</p>;
  return (
    <div class="empty">
      <p>Nothing has arrived yet. A game reports something with:</p>
      <pre>
        <code>{CALLS.design}</code>
      </pre>
      <p>
        It arrives within seconds, or at once with <code>Zorvane::flush();</code>
      </p>
    </div>
  );
}

interface ArrivalsProps {
  looking: Looking;
  stream: Stream;
  notes: Notes;
  isPaused: boolean;
  pause: (isPaused: boolean) => void;
}

function Arrivals({looking, stream, notes, isPaused, pause}: ArrivalsProps) {
  const view = useView();
  const kind = view.values.live_kind ?? "";
  const setKind = (value: string) => go(view, {live_kind: value === "" ? undefined : value});
  const {arrivals, troubles, skipped, perSecond, state} = stream;
  const good = arrivals.filter((arrival) => !isTrouble(arrival));
  const kinds = [...new Set([...KINDS, ...good.map(({category}) => category)])].sort();
  const shown = kind === WRONG ? troubles : kind === "" ? arrivals : good.filter(({category}) => category === kind);
  const rate = isPaused || perSecond === null ? "" : `${number(perSecond)} records a second. `;
  const rest = skipped > 0 ? `${whole(skipped)} more came than are shown here; all of them are kept.` : "";
  return (
    <>
      <div class="choices">
        <Filter name="live_player" title="Player" />
        <Filter name="live_session" title="Session" />
        <label>
          Kind
          <select value={kind} onChange={({currentTarget: {value}}) => setKind(value)}>
            <option value="">all</option>
            <option value={WRONG}>only what is wrong</option>
            {(kind === "" || kind === WRONG || kinds.includes(kind) ? kinds : [kind, ...kinds]).map((each) => (
              <option key={each}>{each}</option>
            ))}
          </select>
        </label>
        <button type="button" aria-pressed={isPaused} onClick={() => pause(!isPaused)}>
          {isPaused ? "Go on" : "Pause"}
        </button>
        <Copy url={liveUrl(looking)} />
      </div>
      <p role="status" class={state === "away" && !isPaused ? "trouble" : undefined}>
        {isPaused ? "Paused: nothing is asked for meanwhile." : STATES[state]}
      </p>
      <p class="note">
        {rate}
        {rest}
        {"\u00a0" /* what is below stays where it is */}
      </p>
      {troubles.length > 0 && kind !== WRONG && (
        <p>
          <button type="button" class="danger" onClick={() => setKind(WRONG)}>
            Show the {many(troubles.length, "record")} with something wrong
          </button>
        </p>
      )}
      {shown.length === 0 ? (
        <Nothing looking={looking} state={state} isAny={arrivals.length > 0} />
      ) : (
        <ol class="arrivals latest" tabIndex={0} aria-label="Arrivals, the latest first">
          {shown.map((arrival) => (
            <One key={arrival.id} arrival={arrival} notes={notes} />
          ))}
        </ol>
      )}
    </>
  );
}

const SHOWN = 50;
const SEARCHED = 500; // of them those of one player or session

// The refused ones say nowhere whose they are: their text does.
const isOf = (record: string, id: string | undefined): boolean =>
  id === undefined || record.includes(JSON.stringify(id));

function Refused({looking, wrong}: {looking: Looking; wrong: number}) {
  const {game, user_id, session_id} = looking;
  const isAll = user_id === undefined && session_id === undefined;
  const limit = isAll ? SHOWN : SEARCHED;
  const asked = useAsked(`refused ${game} ${limit} ${wrong}`, (signal) => get("/api/refused", {game, limit}, signal));
  return (
    <Answered of={quietly(asked)} what="the refused records">
      {(all) => {
        const refused = all.filter(({record}) => isOf(record, user_id) && isOf(record, session_id)).slice(0, SHOWN);
        if (refused.length === 0)
          return <p class="note">No record of this {isAll ? "game" : "player or session"} was refused.</p>;
        return (
          <ol class="arrivals">
            {refused.map((each) => (
              <li key={`${each.received_at} ${each.index} ${each.record}`} class="arrival bad">
                <details>
                  <summary>
                    <time>{moment(each.received_at)}</time>
                    <bdi class="words">{each.reasons.join("; ")}</bdi>
                  </summary>
                  <Record record={each.record} marked={fieldsNamedBy(each.reasons)} />
                </details>
              </li>
            ))}
          </ol>
        );
      }}
    </Answered>
  );
}

function Reasons({wrong}: {wrong: number}) {
  return (
    <Answered of={quietly(useQuestion("refused", UNFILTERED, wrong))} what="the reasons">
      {({rows}) =>
        rows.length === 0 ? (
          <p class="note">There are none in this time.</p>
        ) : (
          <DataTable
            caption="Reasons in this time"
            file="refused"
            rows={rows}
            columns={[
              {name: "reason", title: "Reason", show: (value) => textOf(value)},
              {name: "records", title: "Records", show: (value) => whole(numberOrNull(value))},
            ]}
          />
        )
      }
    </Answered>
  );
}

type Note = Json<"/api/notes">[number];

function Noted({all}: {all: readonly Note[]}) {
  const view = useView();
  if (all.length === 0) return <p class="note">There is nothing to point out.</p>;
  const latest = [...all].sort((one, other) => other.last_at - one.last_at).slice(0, SHOWN_NOTES);
  return (
    <>
      <DataTable
        caption="What was pointed out last"
        file="noted"
        rows={latest}
        columns={[
          {name: "note", title: "Note"},
          {name: "times", title: "Times", show: (value) => whole(numberOrNull(value))},
          {name: "last_at", title: "Last (your time)", show: (value) => moment(numberOrNull(value))},
        ]}
      />
      {all.length > SHOWN_NOTES && (
        <p>
          <a href={addressElsewhere(view, "collector")}>All {many(all.length, "note")}</a>
        </p>
      )}
    </>
  );
}

const STEP_MS = 1000; // between questions about what arrives
const MOST_NOTES = 1000;
const SHOWN_NOTES = 20;

export function Live() {
  const {game = "", live_player, live_session} = useView().values;
  const [isPaused, setPaused] = useState(false);
  const looking = {game, user_id: live_player, session_id: live_session};
  const stream = useLive(looking, isPaused);
  const wrong = useSteps(stream.wrong, STEP_MS);
  const came = useSteps(stream.came, STEP_MS);
  const asked = useAsked(`notes ${game} ${came}`, (signal) => get("/api/notes", {game, limit: MOST_NOTES}, signal));
  const notes = useMemo(() => notesOf((asked.value ?? []).map(({note}) => note)), [asked.value]);
  return (
    <>
      <Section
        title="What arrives"
        how="Each record a moment after it was kept, whatever the bar on top says but for the game. What breaks a rule is red, with the reason, and so are the calls that the library itself refused. What was kept but pointed out, such as a field that nobody knows, is noted in its line. Times of day are in your time zone."
      >
        <Arrivals looking={looking} stream={stream} notes={notes} isPaused={isPaused} pause={setPaused} />
      </Section>
      <Section
        title="Refused lately"
        how="The latest records that broke a rule, with the fields in question marked; of one player or session where the page looks for one. Times are in your time zone."
      >
        <Refused looking={looking} wrong={wrong} />
      </Section>
      <Section
        title="Noted lately"
        how="Records that were kept, in which something doesn't count as it may be meant: a field that nobody knows, an unusual form."
      >
        <Answered of={quietly(asked)} what="the notes">
          {(all) => <Noted all={all} />}
        </Answered>
      </Section>
      <Section title="Why records are refused" how="Of all players. Days are those of arrival.">
        <Reasons wrong={wrong} />
      </Section>
    </>
  );
}
