// What arrives this second: the page of the programmer who wants to see an event arrive, or why it was refused.
import {useState} from "preact/hooks";
import {addressElsewhere, go, useView} from "../address";
import {get} from "../api";
import {useAsked, useQuestion} from "../asked";
import {CALLS} from "../calls";
import {fieldsNamedBy, wordsOfEvent} from "../events";
import {clock, many, moment, number, whole} from "../format";
import {isTrouble, liveUrl, useLive, type Arrival, type Stream} from "../live";
import {DataTable} from "../parts/data-table";
import {Record} from "../parts/record";
import {Section} from "../parts/section";
import {Answered} from "../parts/states";
import {numberOrNull, textOf} from "../rows";

const markedOf = (arrival: Arrival): string[] =>
  arrival.category === "sdk_error" ? ["error_parameter", "reason"] : fieldsNamedBy(arrival.reasons);

function One({arrival}: {arrival: Arrival}) {
  const view = useView();
  const [isOpen, setOpen] = useState(false);
  const isBad = isTrouble(arrival);
  const words = arrival.isRefused ? arrival.reasons.join("; ") : wordsOfEvent(arrival.category, arrival.record);
  return (
    <li class={isBad ? "arrival bad" : "arrival"}>
      <details open={isOpen} onToggle={({currentTarget}) => setOpen(currentTarget.open)}>
        <summary>
          <time>{clock(arrival.receivedAt)}</time>
          <span class="kind">{arrival.isRefused ? "refused" : arrival.category}</span>
          <bdi class="words">{words}</bdi>
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
              <p class="note">It is too long to be shown here.</p>
            ) : (
              <Record record={arrival.record} marked={markedOf(arrival)} />
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
  const command = `curl -N -H "Authorization: Bearer $TOKEN" "${new URL(url, location.href).href}"`;
  return (
    <>
      <button
        type="button"
        onClick={() =>
          navigator.clipboard.writeText(command).then(
            () => setCopied(true),
            () => setCopied(false),
          )
        }
      >
        {isCopied ? "Copied" : "Copy as curl"}
      </button>
      <details>
        <summary>The same on a command line</summary>
        <pre>
          <code>{command}</code>
        </pre>
      </details>
    </>
  );
}

const WRONG = "wrong"; // among the kinds, of which it is none

function Arrivals() {
  const {game = "", live_player, live_session} = useView().values;
  const [isPaused, setPaused] = useState(false);
  const [kind, setKind] = useState("");
  const looking = {game, user_id: live_player, session_id: live_session};
  const {arrivals, troubles, skipped, perSecond, state} = useLive(looking, isPaused);
  const good = arrivals.filter((arrival) => !isTrouble(arrival));
  const kinds = [...new Set(good.map(({category}) => category))].sort();
  const shown = kind === WRONG ? troubles : kind === "" ? arrivals : good.filter(({category}) => category === kind);
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
        <button type="button" aria-pressed={isPaused} onClick={() => setPaused(!isPaused)}>
          {isPaused ? "Go on" : "Pause"}
        </button>
        <Copy url={liveUrl(looking)} />
      </div>
      <p role="status">{isPaused ? "Paused: nothing is asked for meanwhile." : STATES[state]}</p>
      <p class="note">
        {number(perSecond)} records a second.{" "}
        {skipped > 0 && `${whole(skipped)} more came than are shown here; all of them are kept.`}
      </p>
      {troubles.length > 0 && kind !== WRONG && (
        <p>
          <button type="button" class="danger" onClick={() => setKind(WRONG)}>
            Show the {many(troubles.length, "record")} with something wrong
          </button>
        </p>
      )}
      {shown.length === 0 ? (
        <div class="empty">
          <p>Nothing has arrived yet. A game reports something with:</p>
          <pre>
            <code>{CALLS.design}</code>
          </pre>
          <p>
            It arrives within seconds, or at once with <code>Zorvane::flush();</code>
          </p>
        </div>
      ) : (
        <ol class="arrivals latest" tabIndex={0} aria-label="Arrivals, the latest first">
          {shown.map((arrival) => (
            <One key={arrival.id} arrival={arrival} />
          ))}
        </ol>
      )}
    </>
  );
}

function Refused() {
  const {game = ""} = useView().values;
  return (
    <Answered
      of={useAsked(`refused ${game}`, (signal) => get("/api/refused", {game, limit: 50}, signal))}
      what="the refused records"
    >
      {(refused) =>
        refused.length === 0 ? (
          <p class="note">No record of this game was refused.</p>
        ) : (
          <ol class="arrivals">
            {refused.map((each, index) => (
              <li key={index} class="arrival bad">
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
        )
      }
    </Answered>
  );
}

function Reasons() {
  const filters = {
    build: undefined,
    platform: undefined,
    custom_01: undefined,
    custom_02: undefined,
    custom_03: undefined,
    ab_id: undefined,
    ab_variant_id: undefined,
  };
  return (
    <Answered of={useQuestion("refused", filters)} what="the reasons">
      {({rows}) =>
        rows.length === 0 ? (
          <p class="note">There are none in this time.</p>
        ) : (
          <DataTable
            caption="Why records were refused in this time"
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

export function Live() {
  return (
    <>
      <Section
        title="What arrives"
        how="Each record a moment after it was kept, whatever the bar on top says but for the game. What breaks a rule is red, with the reason, and so are the calls that the library itself refused."
      >
        <Arrivals />
      </Section>
      <Section title="Refused lately" how="The latest records that broke a rule, with the fields in question marked.">
        <Refused />
      </Section>
      <Section title="Why" how="Days are those of arrival.">
        <Reasons />
      </Section>
    </>
  );
}
