// What goes wrong for players: errors and crashes, since which build, and how often.
import {addressOf, changed, useView} from "../address";
import type {Cell} from "../api";
import {together, useQuestion} from "../asked";
import {CALLS} from "../calls";
import {crashReportOf, fileOf, placeOf, type CrashReport} from "../crash";
import {dayStart, eachDay, today} from "../days";
import {crashFreeOf, keyOf, messageOf, troublesOf, type Trouble} from "../errors";
import {many, share, shortDay, whole} from "../format";
import {Chart} from "../parts/chart";
import {DataTable} from "../parts/data-table";
import {Section} from "../parts/section";
import {Spark} from "../parts/spark";
import {Answered, Empty} from "../parts/states";
import {Tile, Tiles} from "../parts/tile";
import {useReleases} from "../releases";
import {byDay, byVersion, groupedBy, numberOf, sumOf, textOf, type Row} from "../rows";

const SEVERITIES = [
  ["critical", 5],
  ["error", 2],
  ["warning", 7],
  ["info", 1],
  ["debug", 8],
] as const; // and their colours

const dayShown = (value: Cell) => (value === "" ? "" : shortDay(dayStart(textOf(value))));

// Times by day, in the order of days.
const countsByDay = (rows: readonly Row[]): Row[] =>
  [...groupedBy(rows, (row) => textOf(row.day))]
    .map(([day, of]) => ({day, events: sumOf(of, "events")}))
    .sort((one, other) => (one.day < other.day ? -1 : 1));

function useDays(): string[] {
  const {from = "", to = ""} = useView().values;
  return eachDay(from, to < today() ? to : today());
}

// The number that the Overview compares with the time before.
function CrashFree() {
  const asked = together(useQuestion("overview", {whole: "yes"}), useQuestion("errors", {by: "severity"}));
  return (
    <Answered of={asked} what="the players">
      {([{rows}, bySeverity]) => {
        const players = numberOf(rows[0]?.players);
        return (
          players > 0 && (
            <Tiles>
              <Tile
                label="Crash-free players"
                value={crashFreeOf(players, bySeverity.rows)}
                format={share}
                note={`of ${many(players, "player")}`}
              />
            </Tiles>
          )
        );
      }}
    </Answered>
  );
}

function Trend() {
  const days = useDays();
  const marks = useReleases();
  return (
    <Answered of={useQuestion("errors", {by: "severity", daily: "yes"})} what="the days">
      {({rows}) => {
        const bySeverity = groupedBy(rows, (row) => textOf(row.severity));
        const series = SEVERITIES.filter(([each]) => bySeverity.has(each)).map(([label, color]) => ({
          label,
          color,
          values: byDay(bySeverity.get(label)!, days, (row) => row.events as number),
        }));
        if (series.length === 0) return <Empty what="errors" call={CALLS.error} />;
        return (
          <Chart
            title="Errors by day and severity"
            file="errors-by-day"
            x={days.map(dayStart)}
            xTitle="Day"
            format={whole}
            marks={marks}
            series={series}
          />
        );
      }}
    </Answered>
  );
}

// The builds that rows by severity, message and build are of, the first version first.
const buildsOf = (rows: readonly Row[]): string[] => [...new Set(rows.map((row) => textOf(row.build)))].sort(byVersion);

const playersShown = ([least, most]: Trouble["players"]): string =>
  least === most ? whole(most) : `${whole(least)} to ${whole(most)}`;

function List() {
  const view = useView();
  const days = useDays();
  const asked = together(
    useQuestion("errors"),
    useQuestion("errors", {by: "severity,message,build"}),
    useQuestion("errors", {daily: "yes"}),
  );
  return (
    <Answered of={asked} what="the errors">
      {([{rows}, byBuild, daily]) => {
        if (rows.length === 0) return <Empty what="errors" />;
        const buildRows = groupedBy(byBuild.rows, keyOf);
        const dayRows = groupedBy(daily.rows, keyOf);
        const list = troublesOf(rows).map((trouble) => {
          const builds = buildsOf(buildRows.get(trouble.key) ?? []);
          const seen = countsByDay(dayRows.get(trouble.key) ?? []);
          return {
            trouble,
            counts: byDay(seen, days, (row) => row.events as number),
            cells: {
              id: trouble.id,
              severity: trouble.severity,
              title: trouble.title,
              events: trouble.events,
              players: trouble.players[1],
              first: builds[0] ?? "",
              last: builds.at(-1) ?? "",
              first_day: seen[0]?.day ?? "",
            },
          };
        });
        const found = new Map(list.map((each) => [each.trouble.id, each]));
        return (
          <DataTable
            caption="Errors"
            file="errors"
            sort="events"
            rows={list.map((each) => each.cells)}
            columns={[
              {
                name: "title",
                title: "Message",
                show: (value, row) => (
                  <a
                    class="short"
                    href={addressOf({page: view.page, values: changed(view.values, {error: textOf(row.id)})})}
                  >
                    {value === "" ? "an empty message" : value}
                  </a>
                ),
              },
              {
                name: "severity",
                title: "Severity",
                show: (value) => <span class={`severity ${textOf(value)}`}>{value}</span>,
              },
              {
                name: "events",
                title: "Times",
                show: (value, row) => (
                  <>
                    <Spark values={found.get(textOf(row.id))?.counts ?? []} />
                    {whole(value as number)}
                  </>
                ),
              },
              {
                name: "players",
                title: "Players",
                show: (_, row) => playersShown(found.get(textOf(row.id))!.trouble.players),
              },
              {name: "first", title: "First build"},
              {name: "last", title: "Last build"},
              {name: "first_day", title: "First day", show: dayShown},
            ]}
          />
        );
      }}
    </Answered>
  );
}

function Frames({report}: {report: CrashReport}) {
  return (
    <>
      {report.culprit > 0 && (
        <p class="note">
          It crashed in frame {report.culprit}; the {many(report.culprit, "frame")} before are those that handled the
          crash.
        </p>
      )}
      <ol class="frames" start={0}>
        {report.frames.map((frame, index) => (
          <li
            key={index}
            class={index === report.culprit ? "culprit" : index < report.culprit || frame.isSystem ? "aside" : ""}
          >
            <code title={frame.module}>
              <bdi>{placeOf(frame)}</bdi>
            </code>{" "}
            {frame.name !== "" && <span class="none">{fileOf(frame) + frame.offset}</span>}
          </li>
        ))}
      </ol>
    </>
  );
}

function Report({message}: {message: string}) {
  const report = crashReportOf(message);
  if (!report)
    return (
      <pre class="message" dir="auto">
        <code>{message}</code>
      </pre>
    );
  return (
    <div class="crash">
      <ul>
        {report.facts.map((fact) => (
          <li key={fact}>{fact}</li>
        ))}
      </ul>
      <Frames report={report} />
      <details>
        <summary>The report as it came</summary>
        <pre class="message">
          <code>{message}</code>
        </pre>
      </details>
    </div>
  );
}

const MOST_SHOWN = 20;
const MOST_READ = 1000; // rows

// How many different players: counted from the rows where several messages are one error and the rows can all be read.
function Players({trouble}: {trouble: Trouble}) {
  const isKnown = trouble.messages.length === 1;
  const asked = useQuestion("rows", {category: "error", severity: trouble.severity, limit: isKnown ? 1 : MOST_READ});
  const rows = asked.value?.rows ?? [];
  if (isKnown || rows.length === 0 || rows.length === MOST_READ) {
    const [least, most] = trouble.players;
    return <>{most === 1 ? "1 player" : `${playersShown([least, most])} players`}</>;
  }
  const own = rows.filter((row) => keyOf({severity: trouble.severity, message: messageOf(row)}) === trouble.key);
  return <>{many(new Set(own.map((row) => row.user_id)).size, "player")}</>;
}

function One({trouble, byBuild}: {trouble: Trouble; byBuild: readonly Row[]}) {
  const days = useDays();
  const marks = useReleases();
  return (
    <>
      <p>
        <span class={`severity ${trouble.severity}`}>{trouble.severity}</span>, {many(trouble.events, "time")}, of{" "}
        <Players trouble={trouble} />
      </p>
      <Report message={trouble.messages[0]!} />
      <Answered of={useQuestion("errors", {daily: "yes"})} what="its days">
        {({rows}) => {
          const counts = countsByDay(rows.filter((row) => keyOf(row) === trouble.key));
          return (
            <Chart
              title="Times by day"
              file="error-by-day"
              x={days.map(dayStart)}
              xTitle="Day"
              format={whole}
              marks={marks}
              series={[{label: "Times", values: byDay(counts, days, (row) => row.events as number)}]}
            />
          );
        }}
      </Answered>
      <DataTable
        caption="By build"
        file="error-by-build"
        rows={buildsOf(byBuild).map((build) => ({
          build,
          events: sumOf(
            byBuild.filter((row) => row.build === build),
            "events",
          ),
        }))}
        columns={[
          {name: "build", title: "Build"},
          {name: "events", title: "Times"},
        ]}
      />
      {trouble.messages.length > 1 && (
        <details>
          <summary>{whole(trouble.messages.length)} messages are counted here</summary>
          {trouble.messages.slice(0, MOST_SHOWN).map((message) => (
            <pre key={message} class="message" dir="auto">
              <code>{message}</code>
            </pre>
          ))}
        </details>
      )}
    </>
  );
}

const LONGEST_TITLE = 200;
const LONGEST = 2000; // an address holds no more

function Chosen({id}: {id: string}) {
  const view = useView();
  const asked = together(useQuestion("errors"), useQuestion("errors", {by: "severity,message,build"}));
  const trouble = asked.value && troublesOf(asked.value[0].rows).find((each) => each.id === id);
  const rows = trouble && {
    category: "error",
    severity: trouble.severity,
    message: trouble.messages.length === 1 && trouble.messages[0]!.length < LONGEST ? trouble.messages[0] : undefined,
  };
  return (
    <Section
      title={trouble ? trouble.title.slice(0, LONGEST_TITLE) : "An error"}
      rows={rows}
      how="Other messages are errors of their own. Crashes of the same exception in the same functions are one error, whatever the build, the addresses and the exception's text."
    >
      <p>
        <a href={addressOf({page: view.page, values: changed(view.values, {error: undefined})})}>All errors</a>
      </p>
      <Answered of={asked} what="the error">
        {([, byBuild]) =>
          trouble ? (
            <One key={id} trouble={trouble} byBuild={byBuild.rows.filter((row) => keyOf(row) === trouble.key)} />
          ) : (
            <p class="note">It isn't there in this time, with these filters.</p>
          )
        }
      </Answered>
    </Section>
  );
}

export function Errors() {
  const {error} = useView().values;
  if (error !== undefined) return <Chosen id={error} />;
  return (
    <>
      <Section
        title="Day by day"
        rows={{category: "error"}}
        how="What the game reported as errors, and the crashes that the library caught: those are critical. Crash-free are the players without a critical error. Dashed lines are the days on which a build first came."
      >
        <CrashFree />
        <Trend />
      </Section>
      <Section
        title="What happened"
        how="One line for each message; crashes of the same exception in the same functions are one. First and last are those of this time, the first version first; the bars are its days. Reports of one crash differ by build and run, so its players are given as at least and at most; its own page counts them."
      >
        <List />
      </Section>
    </>
  );
}
