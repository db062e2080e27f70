// How the collector itself does: what came, what it refused, whether it keeps up, and who is connected.
import type {ComponentChildren} from "preact";
import {useEffect} from "preact/hooks";
import {useView} from "../address";
import {get, type Json} from "../api";
import {useAsked} from "../asked";
import {bytes, duration, moment, number, share, whole} from "../format";
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

function Traffic({status}: {status: Status}) {
  const {intake, uptime_seconds} = status;
  const refused = intake.refused_records;
  return (
    <>
      <Tiles>
        <Tile
          label="Events"
          value={intake.events}
          format={whole}
          note={`${number(ratio(intake.events, uptime_seconds))} a second`}
        />
        <Tile
          label="Refused records"
          value={refused}
          format={whole}
          note={`${share(ratio(refused, refused + intake.events))} of all`}
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
          ["Wrong signatures", whole(intake.bad_signatures)],
          ["Unknown games", whole(intake.unknown_games)],
          ["Unreadable bodies", whole(intake.unreadable_bodies)],
          ["Too large", whole(intake.too_large)],
          ["Answers by status", counted(status.answers)],
        ]}
      />
    </>
  );
}

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
          ["Free on its disk", archive.free_bytes === null ? "unknown" : bytes(archive.free_bytes)],
          ["Waiting to be written", whole(archive.waiting)],
          ["The latest write took", `${number(archive.last_write_seconds * 1000)} ms`],
          [
            "Warehouse",
            warehouse === null
              ? "there is none"
              : `${whole(warehouse.waiting_events)} events wait, the oldest for ${duration(warehouse.lag_seconds)}; ${whole(warehouse.handed_on)} handed on; ${whole(warehouse.pending_erasures)} players to erase`,
          ],
          [
            "Configurations",
            configurations_age_seconds === null
              ? "at home here"
              : `confirmed by their home ${duration(configurations_age_seconds)} ago`,
          ],
          ["Log lines that nobody took", whole(lost_log_lines)],
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
        ["Open now", `${whole(connections.open)}: ${counted(connections.by_phase)}`],
        ["Accepted", whole(connections.accepted)],
        ["Requests", whole(connections.requests)],
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
          <p class="note">There are none in its memory.</p>
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
  return (
    <>
      <Answered of={asked} what="the collector">
        {(status) => (
          <>
            <Section
              title="What came"
              how={`Since its start on ${moment(status.since)}, ${duration(status.uptime_seconds)} ago, of all games. zorvane-collector ${status.version}.`}
            >
              <Traffic status={status} />
            </Section>
            <Section title="Whether it keeps up">
              <Health status={status} />
            </Section>
            <Section title="Who is connected">
              <Connections connections={status.connections} />
            </Section>
          </>
        )}
      </Answered>
      <Section
        title="Refused requests"
        how="Those that were refused as a whole, or closed without an answer; the latest 300 are in memory. What is wrong with a single record is on the page Live."
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
