// How the collector itself does: what came, what it refused, whether it keeps up, and who is connected.
import type {ComponentChildren} from "preact";
import {useEffect, useRef} from "preact/hooks";
import {useView} from "../address";
import {get, type Json} from "../api";
import {useAsked} from "../asked";
import {bytes, duration, many, moment, number, share, whole} from "../format";
import {DataTable} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered} from "../parts/states";
import {Tile, Tiles} from "../parts/tile";
import {ratio, textOf} from "../rows";

type Status = Json<"/api/status">;

const STEP_MS = 5000;

// Asked again every few seconds, as long as somebody looks.
function useStatus() {
  const asked = useAsked("status", (signal) => get("/api/status", {}, signal));
  useEffect(() => {
    const timer = setTimeout(() => document.visibilityState === "visible" && !asked.isAsking && asked.again(), STEP_MS);
    return () => clearTimeout(timer);
  });
  return {...asked, isAsking: asked.isAsking && asked.value === undefined}; // nothing is dimmed meanwhile
}

// The one before the latest, to say what comes now and not only since the start.
function useBefore(status: Status | undefined): Status | undefined {
  const kept = useRef<{before?: Status; latest?: Status}>({});
  const {latest} = kept.current;
  if (status && status !== latest)
    kept.current = {before: latest?.since === status.since ? latest : undefined, latest: status};
  return kept.current.before;
}

function rateNow(status: Status, before: Status | undefined): string {
  const seconds = before === undefined ? 0 : status.uptime_seconds - before.uptime_seconds;
  const perSecond = seconds > 0 ? (status.intake.events - before!.intake.events) / seconds : null;
  const mean = ratio(status.intake.events, status.uptime_seconds);
  return `${perSecond === null ? "" : `${number(perSecond)} a second now, `}${number(mean)} a second on average`;
}

function Facts({of}: {of: readonly (readonly [string, ComponentChildren])[]}) {
  return (
    <dl class="facts">
      {of.map(([name, value]) => (
        <>
          <dt>{name}</dt>
          <dd>{value}</dd>
        </>
      ))}
    </dl>
  );
}

const counted = (counts: {readonly [name: string]: number} | null | undefined): string =>
  Object.entries(counts ?? {})
    .filter(([, count]) => count > 0)
    .map(([name, count]) => `${name}: ${whole(count)}`)
    .join(", ") || "none";

function Traffic({status, before}: {status: Status; before: Status | undefined}) {
  const {intake} = status;
  const refused = intake.refused_records;
  const named = intake.bad_signatures + intake.unknown_games + intake.unreadable_bodies + intake.too_large;
  const others = Math.max(0, (status.answers["4xx"] ?? 0) - named);
  return (
    <>
      <Tiles>
        <Tile label="Events" value={intake.events} format={whole} note={rateNow(status, before)} />
        <Tile
          label="Refused records"
          value={refused}
          format={whole}
          note={refused === 0 ? "" : `${share(ratio(refused, refused + intake.events))} of all records`}
        />
        <Tile label="Sessions begun" value={intake.init_calls} format={whole} note="init calls" />
        <Tile
          label="Received"
          value={intake.received_bytes}
          format={bytes}
          note={`${bytes(intake.inflated_bytes)} unpacked`}
        />
        <Tile label="Not kept" value={intake.not_kept} format={whole} note="games send them again" />
      </Tiles>
      <Facts
        of={[
          ["Refused: wrong signature", many(intake.bad_signatures, "request")],
          ["Refused: unknown game", many(intake.unknown_games, "request")],
          ["Refused: unreadable body", many(intake.unreadable_bodies, "request")],
          ["Refused: too large", many(intake.too_large, "request")],
          ["Refused: for something else", `${many(others, "request")}, such as for what isn't there`],
          ["Answers by status", counted(status.answers)],
        ]}
      />
    </>
  );
}

// A disk that fills up is worth a warning long before the archive can't be written.
const LITTLE = 2e9; // bytes
const freeShown = (used: number, free: number): string =>
  `${bytes(free)}${free < LITTLE || free < used / 10 ? ": little, keep fewer days or add space" : ""}`;

function Health({status: {archive, warehouse, configurations_age_seconds, lost_log_lines}}: {status: Status}) {
  return (
    <>
      {!archive.writable && (
        <p class="trouble" role="alert">
          <strong>The archive can't be written, so games keep their events:</strong> {archive.trouble}
        </p>
      )}
      {warehouse !== null && warehouse.trouble !== "" && (
        <p class="trouble" role="alert">
          <strong>The warehouse takes nothing:</strong> {warehouse.trouble}
        </p>
      )}
      <Facts
        of={[
          ["Archive", bytes(archive.bytes)],
          ["Free on its disk", archive.free_bytes === null ? "unknown" : freeShown(archive.bytes, archive.free_bytes)],
          ["Waiting to be written", many(archive.waiting, "request or task", "requests and tasks")],
          ["The latest write took", `${number(archive.last_write_seconds * 1000)} ms`],
          [
            "Warehouse",
            warehouse === null
              ? "there is none"
              : `${many(warehouse.waiting_events, "event")} wait, the oldest for ${duration(warehouse.lag_seconds)}; ${whole(warehouse.handed_on)} handed on; ${many(warehouse.pending_erasures, "player")} to erase`,
          ],
          [
            "Configurations",
            configurations_age_seconds === null
              ? "kept here"
              : `confirmed by the collector that keeps them, ${duration(configurations_age_seconds)} ago`,
          ],
          ["Log lines lost", whole(lost_log_lines)],
        ]}
      />
    </>
  );
}

function Connections({connections}: {connections: Status["connections"]}) {
  if (connections === null) return <p class="note">The collector doesn't say.</p>;
  return (
    <Facts
      of={[
        ["Open now", `${many(connections.open, "connection")} (${counted(connections.by_phase)})`],
        ["Accepted since the start", many(connections.accepted, "connection")],
        ["Served since the start", many(connections.requests, "request")],
        ["Memory of requests under way", bytes(connections.memory_bytes)],
        ["Closed without an answer", counted(connections.closed)],
      ]}
    />
  );
}

function RefusedVisits() {
  return (
    <Answered
      of={useAsked("visits", (signal) => get("/api/visits/refused", {limit: 100}, signal))}
      what="the refused requests"
    >
      {(visits) =>
        visits.length === 0 ? (
          <p class="note">None since the start.</p>
        ) : (
          <DataTable
            caption="Requests that were refused, the latest first"
            file="refused-requests"
            rows={visits}
            columns={[
              {name: "at", title: "When", show: (value) => moment(value as number)},
              {name: "address", title: "Address"},
              {name: "method", title: "Method"},
              {name: "path", title: "Path"},
              {name: "status", title: "Status", show: (value) => (value === 0 ? "no answer" : textOf(value))},
              {name: "why", title: "Why"},
            ]}
          />
        )
      }
    </Answered>
  );
}

function Notes() {
  const {game = ""} = useView().values;
  return (
    <Answered
      of={useAsked(`notes ${game}`, (signal) => get("/api/notes", {game, limit: 100}, signal))}
      what="the notes"
    >
      {(notes) =>
        notes.length === 0 ? (
          <p class="note">There is nothing to point out.</p>
        ) : (
          <DataTable
            caption="What was kept, but is unusual"
            file="notes"
            rows={notes}
            columns={[
              {name: "note", title: "Note"},
              {name: "times", title: "Times"},
              {name: "first_at", title: "First", show: (value) => moment(value as number)},
              {name: "last_at", title: "Last", show: (value) => moment(value as number)},
            ]}
          />
        )
      }
    </Answered>
  );
}

export function Collector() {
  const asked = useStatus();
  const before = useBefore(asked.value);
  return (
    <>
      <Answered of={asked} what="the collector">
        {(status) => (
          <>
            <Section
              title="What came"
              how={`Of all games, since the start of zorvane-collector ${status.version} on ${moment(status.since)}, ${duration(status.uptime_seconds)} ago. Asked again every ${STEP_MS / 1000} seconds.`}
            >
              <Traffic status={status} before={before} />
            </Section>
            <Section
              title="Whether it keeps up"
              how="What waits to be written is in memory: games are answered once it is in the archive. What waits for the warehouse is safe in the archive."
            >
              <Health status={status} />
            </Section>
            <Section
              title="Who is connected"
              how="Connections of games, of the pages here and of other readers; those that wait are open for a next request."
            >
              <Connections connections={status.connections} />
            </Section>
          </>
        )}
      </Answered>
      <Section
        title="Refused requests"
        how="Requests that were refused as a whole, or closed without an answer: the latest 100 of those in memory. What is wrong with single records is on the page Live."
      >
        <RefusedVisits />
      </Section>
      <Section
        title="Notes"
        how="Of this game: fields that nobody knows, unusual forms. The records count all the same."
      >
        <Notes />
      </Section>
    </>
  );
}
