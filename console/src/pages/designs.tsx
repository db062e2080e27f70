// What else the game counts and measures: the tree of its event ids, any branch over time, its values, and split by a field.
import {useState} from "preact/hooks";
import {addressOf, changed, go, useView} from "../address";
import {useQuestion, type Answer, type Asked} from "../asked";
import {CALLS} from "../calls";
import {dayStart} from "../days";
import {many, number, short, whole} from "../format";
import {Chart} from "../parts/chart";
import {DataTable} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered, Beginning, Empty} from "../parts/states";
import {byDay, daysWithData, groupedBy, numberOf, ratio, sumOf, textOf, type Row} from "../rows";

const MOST_LINES = 6;
const MOST_PARTS = 5;
const MANY = 20; // parts that are searched rather than read
const MOST_READ = 100; // events whose fields are offered
const MOST_SPLIT = 30_000; // events that the collector reads the fields of

const branchOf = (under: string) => ({under: under === "" ? undefined : under});

// The column that a branch's parts stand in.
const partOf = (row: Row): string =>
  Object.keys(row).find((name) => name.startsWith("part") || name === "event_id") ?? "";

const perEvent = (row: Row): number | null =>
  typeof row.total === "number" ? ratio(row.total, numberOf(row.valued)) : null; // an event may have none

function Path({under}: {under: string}) {
  const view = useView();
  const parts = under === "" ? [] : under.split(":");
  const at = (depth: number) =>
    addressOf({
      page: view.page,
      values: changed(view.values, {under: depth === 0 ? undefined : parts.slice(0, depth).join(":")}),
    });
  return (
    <nav class="path" aria-label="Branch">
      <a href={at(0)}>All events</a>
      {parts.map((part, index) => (
        <span key={index}>
          {" "}
          :{" "}
          {index + 1 === parts.length ? (
            <bdi aria-current="true">{part}</bdi>
          ) : (
            <a href={at(index + 1)}>
              <bdi>{part}</bdi>
            </a>
          )}
        </span>
      ))}
    </nav>
  );
}

interface OfBranch {
  under: string;
  asked: Asked<Answer>;
}

function Branch({under, asked}: OfBranch) {
  const view = useView();
  const depth = under === "" ? 0 : under.split(":").length;
  const [wanted, setWanted] = useState("");
  return (
    <Answered of={asked} what="the events">
      {({rows}) => {
        if (rows.length === 0)
          return <Empty what={under === "" ? "design events" : "events of this branch"} call={CALLS.design} />;
        const named = rows.map((row) => ({
          ...row,
          part: textOf(row[partOf(row)]),
          mean: perEvent(row),
        }));
        const found = named.filter((row) => row.part.toLowerCase().includes(wanted.toLowerCase()));
        return (
          <>
            {named.length > MANY && (
              <label class="choice">
                Parts with
                <input type="search" value={wanted} onInput={({currentTarget: {value}}) => setWanted(value)} />
              </label>
            )}
            <DataTable
              caption={under === "" ? "Events by the first part of their ids" : `Events below ${under}`}
              file="designs"
              sort="events"
              rows={found}
              columns={[
                {
                  name: "part",
                  title: "Part",
                  show: (value) =>
                    value === "" || depth === MOST_PARTS ? (
                      <span class="none">ends here</span>
                    ) : (
                      <a
                        href={addressOf({
                          page: view.page,
                          values: changed(view.values, {
                            under: under === "" ? textOf(value) : `${under}:${textOf(value)}`,
                          }),
                        })}
                      >
                        <bdi>{value}</bdi>
                      </a>
                    ),
                },
                {name: "events", title: "Events"},
                {name: "players", title: "Players"},
                {name: "valued", title: "With a value"},
                {name: "total", title: "Sum of values"},
                {name: "mean", title: "Value per event"},
                {name: "least", title: "Least"},
                {name: "most", title: "Greatest"},
              ]}
            />
          </>
        );
      }}
    </Answered>
  );
}

function Days({under}: {under: string}) {
  const {from = "", to = ""} = useView().values;
  return (
    <Answered of={useQuestion("designs", {...branchOf(under), daily: "yes"})} what="the days">
      {({rows}) => {
        const parts = [...groupedBy(rows, (row) => textOf(row[partOf(row)]))]
          .sort((one, other) => sumOf(other[1], "events") - sumOf(one[1], "events"))
          .slice(0, MOST_LINES);
        if (parts.length === 0) return <Empty what="events of this branch" />;
        const days = daysWithData(rows, from, to);
        const x = days.map(dayStart);
        const label = (part: string) => (part === "" ? "ends here" : part);
        const valued = parts.filter(([, of]) => of.some((row) => perEvent(row) !== null));
        return (
          <>
            <Beginning what="events" days={days} from={from} />
            <div class="beside">
              <Chart
                title="Events by day, the most frequent parts"
                file="designs-by-day"
                x={x}
                xTitle="Day"
                format={whole}
                series={parts.map(([part, of]) => ({
                  label: label(part),
                  values: byDay(of, days, (row) => numberOf(row.events)),
                }))}
              />
              {valued.length > 0 && (
                <Chart
                  title="Value per event by day"
                  file="values-by-day"
                  x={x}
                  xTitle="Day"
                  series={parts.flatMap(([part, of], index) =>
                    valued.some(([name]) => name === part)
                      ? [{label: label(part), color: index + 1, values: byDay(of, days, perEvent, null)}]
                      : [],
                  )}
                />
              )}
            </div>
          </>
        );
      }}
    </Answered>
  );
}

function Values({under}: {under: string}) {
  if (under === "") return <p class="note">Choose a branch above: values of different events don't compare.</p>;
  return (
    <Answered of={useQuestion("values", branchOf(under))} what="the values">
      {({rows}) => {
        if (rows.length === 0) return <p class="note">No event of this branch has a value.</p>;
        const titleOf = (row: Row) => `${number(numberOf(row.low))} to ${number(numberOf(row.high))}`;
        return (
          <Chart
            title="Events by their value"
            file="values"
            x={rows.map((_, index) => index)}
            xTitle="Value"
            bars
            format={whole}
            formatX={(at) => (rows[at] ? titleOf(rows[at]) : "")}
            formatXAxis={(at) => (rows[at] ? short(numberOf(rows[at].low)) : "")}
            series={[{label: "Events", values: rows.map((row) => numberOf(row.events))}]}
          />
        );
      }}
    </Answered>
  );
}

function ByField({under, field}: {under: string; field: string}) {
  return (
    <Answered of={useQuestion("designs", {...branchOf(under), by: `field:${field}`})} what="the field">
      {({rows}) => {
        const column = Object.keys(rows[0] ?? {}).find((name) => name === field || name === `field:${field}`);
        if (column === undefined) return <p class="note">No event of this branch is there to be split.</p>;
        return (
          <DataTable
            caption={`Events by the custom field ${field}`}
            file="field"
            sort="events"
            rows={rows.map((row) => ({...row, of_field: row[column] ?? "", part: row[partOf(row)] ?? ""}))}
            columns={[
              {name: "part", title: "Part"},
              {name: "of_field", title: field},
              {name: "events", title: "Events"},
              {name: "players", title: "Players"},
              {name: "total", title: "Sum of values"},
              {name: "least", title: "Least"},
              {name: "most", title: "Greatest"},
            ]}
          />
        );
      }}
    </Answered>
  );
}

// The names of the fields that the latest events have.
function namesOf(rows: readonly Row[]): string[] {
  const names = rows.flatMap((row) => {
    try {
      return Object.keys((JSON.parse(textOf(row.record)) as {custom_fields?: object}).custom_fields ?? {});
    } catch {
      return []; // its beginning only
    }
  });
  return [...new Set(names)].sort();
}

function FieldChoice({under}: {under: string}) {
  const view = useView();
  const latest = useQuestion("rows", {category: "design", ...branchOf(under), limit: MOST_READ});
  const names = namesOf(latest.value?.rows ?? []);
  return (
    <>
      <label class="choice">
        Name of the field
        <input
          type="search"
          list="field-names"
          value={view.values.field ?? ""}
          onChange={({currentTarget: {value}}) => go(view, {field: value.trim() === "" ? undefined : value.trim()})}
        />
        <datalist id="field-names">
          {names.map((name) => (
            <option key={name} value={name} />
          ))}
        </datalist>
      </label>
      {latest.value && (
        <p class="note">
          {names.length === 0 ? "The latest events of this branch have no custom fields." : "The latest events have: "}
          {names.map((name) => (
            <>
              <button type="button" onClick={() => go(view, {field: name})}>
                <bdi>{name}</bdi>
              </button>{" "}
            </>
          ))}
        </p>
      )}
    </>
  );
}

function Split({under, asked}: OfBranch) {
  const {field} = useView().values;
  return (
    <Answered of={asked} what="the events">
      {({rows}) => {
        const events = sumOf(rows, "events");
        if (events > MOST_SPLIT)
          return (
            <p class="note">
              This branch has {many(events, "event")}, more than {whole(MOST_SPLIT)}: choose a smaller one above, fewer
              days or one build.
            </p>
          );
        return (
          <>
            <FieldChoice under={under} />
            {field !== undefined && <ByField key={field} under={under} field={field} />}
          </>
        );
      }}
    </Answered>
  );
}

function Sections({under}: {under: string}) {
  const asked = useQuestion("designs", branchOf(under));
  const rows = {category: "design", ...branchOf(under)};
  return (
    <>
      <Section
        title="The tree of events"
        rows={rows}
        how="One part of the ids at a time; a line counts all events below it, and values only where events have one: the value per event is the mean of those. A player of two lines counts in both."
      >
        <Path under={under} />
        <Branch under={under} asked={asked} />
      </Section>
      <Section
        title="Over time"
        rows={rows}
        how={`At most ${MOST_LINES} parts, those with the most events. The value per event is the sum of a day's values divided by the events that have one.`}
      >
        <Days under={under} />
      </Section>
      <Section
        title="How the values spread"
        rows={rows}
        how="At most 20 steps of equal width; the text below a bar is the least value in it. The hundredth with the lowest values and the one with the highest are in the first and the last step."
      >
        <Values under={under} />
      </Section>
      <Section
        title="Split by a custom field"
        rows={rows}
        how={`Each event is read for this, so a branch may have ${whole(MOST_SPLIT)} at most. Without the field an event counts as none.`}
      >
        <Split under={under} asked={asked} />
      </Section>
    </>
  );
}

export function Designs() {
  const {under = ""} = useView().values;
  return <Sections key={under} under={under} />; // what is known of one branch says nothing of another
}
