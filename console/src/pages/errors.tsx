// What goes wrong for players: errors and crashes, since which build, and how often.
import {addressOf, changed, useView} from "../address";
import {together, useQuestion} from "../asked";
import {CALLS} from "../calls";
import {crashReportOf} from "../crash";
import {dayStart, eachDay, today} from "../days";
import {keyOf, troublesOf, type Trouble} from "../errors";
import {whole} from "../format";
import {Chart} from "../parts/chart";
import {DataTable} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {byDay, byVersion, groupedBy, sumOf, textOf, type Row} from "../rows";

const SEVERITIES = [
  ["critical", 5],
  ["error", 2],
  ["warning", 7],
  ["info", 1],
  ["debug", 8],
] as const; // and their colours

function useDays(): string[] {
  const {from = "", to = ""} = useView().values;
  return eachDay(from, to < today() ? to : today());
}

function Trend() {
  const days = useDays();
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
            series={series}
          />
        );
      }}
    </Answered>
  );
}

// The builds that rows by severity, message and build are of, the first version first.
const buildsOf = (rows: readonly Row[]): string[] => [...new Set(rows.map((row) => textOf(row.build)))].sort(byVersion);

function List() {
  const view = useView();
  const asked = together(useQuestion("errors"), useQuestion("errors", {by: "severity,message,build"}));
  return (
    <Answered of={asked} what="the errors">
      {([{rows}, byBuild]) => {
        if (rows.length === 0) return <Empty what="errors" call={CALLS.error} />;
        const builds = groupedBy(byBuild.rows, keyOf);
        const list = troublesOf(rows).map((trouble) => {
          const of = buildsOf(builds.get(keyOf({severity: trouble.severity, message: trouble.messages[0]!})) ?? []);
          return {
            id: trouble.id,
            severity: trouble.severity,
            title: trouble.title,
            events: trouble.events,
            players: trouble.players,
            is_exact: Number(trouble.isExact),
            first: of[0] ?? "",
            last: of.at(-1) ?? "",
          };
        });
        return (
          <DataTable
            caption="Errors"
            file="errors"
            sort="events"
            rows={list}
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
              {name: "events", title: "Times"},
              {
                name: "players",
                title: "Players",
                show: (value, row) => `${row.is_exact === 1 ? "" : "up to "}${whole(value as number)}`,
              },
              {name: "first", title: "First build"},
              {name: "last", title: "Last build"},
            ]}
          />
        );
      }}
    </Answered>
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
      <ol class="frames" start={0}>
        {report.frames.map((frame) => (
          <li key={frame.number}>
            <code>{frame.where}</code> <span class="none">{frame.module}</span>
          </li>
        ))}
      </ol>
    </div>
  );
}

const MOST_SHOWN = 20;

function One({trouble, byBuild}: {trouble: Trouble; byBuild: readonly Row[]}) {
  const days = useDays();
  const key = keyOf({severity: trouble.severity, message: trouble.messages[0]!});
  return (
    <>
      <Report message={trouble.messages[0]!} />
      <Answered of={useQuestion("errors", {daily: "yes"})} what="its days">
        {({rows}) => {
          const own = groupedBy(
            rows.filter((row) => keyOf(row) === key),
            (row) => textOf(row.day),
          );
          const counts = [...own].map(([day, of]) => ({day, events: sumOf(of, "events")}));
          return (
            <Chart
              title="Times by day"
              file="error-by-day"
              x={days.map(dayStart)}
              xTitle="Day"
              format={whole}
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

const LONGEST = 2000; // an address holds no more

function Chosen({id}: {id: string}) {
  const view = useView();
  const asked = together(useQuestion("errors"), useQuestion("errors", {by: "severity,message,build"}));
  const trouble = asked.value && troublesOf(asked.value[0].rows).find((each) => each.id === id);
  const rows = trouble && {
    category: "error",
    severity: trouble.severity,
    message: trouble.isExact && trouble.messages[0]!.length < LONGEST ? trouble.messages[0] : undefined,
  };
  return (
    <Section
      title={trouble?.title ?? "An error"}
      rows={rows}
      how="Messages that differ only in addresses, or in the build that a crash report names, are one."
    >
      <p>
        <a href={addressOf({page: view.page, values: changed(view.values, {error: undefined})})}>All errors</a>
      </p>
      <Answered of={asked} what="the error">
        {([, byBuild]) =>
          trouble ? (
            <One
              key={id}
              trouble={trouble}
              byBuild={byBuild.rows.filter(
                (row) => keyOf(row) === keyOf({severity: trouble.severity, message: trouble.messages[0]!}),
              )}
            />
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
        how="Reports of errors; crashes that the library caught are critical ones."
      >
        <Trend />
      </Section>
      <Section
        title="What happened"
        how="One line for each message; crashes with the same frames are one, whatever the build. First and last build are those of this time, the first version first. Players of several messages may be the same, so their sum is the most that there can be."
      >
        <List />
      </Section>
    </>
  );
}
