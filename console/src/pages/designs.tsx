// What else the game counts and measures: the tree of its event ids, any branch over time, its values, and split by a field.
import {addressOf, changed, go, useView} from "../address";
import {useQuestion} from "../asked";
import {CALLS} from "../calls";
import {dayStart, eachDay, today} from "../days";
import {number, short, whole} from "../format";
import {Chart} from "../parts/chart";
import {DataTable} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {byDay, groupedBy, numberOf, ratio, sumOf, textOf, type Row} from "../rows";

const MOST_LINES = 6;
const MOST_PARTS = 5;

// The column that a branch's parts stand in.
const partOf = (row: Row): string =>
  Object.keys(row).find((name) => name.startsWith("part") || name === "event_id") ?? "";

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

function Branch({under}: {under: string}) {
  const view = useView();
  const depth = under === "" ? 0 : under.split(":").length;
  return (
    <Answered of={useQuestion("designs", {under: under === "" ? undefined : under})} what="the events">
      {({rows}) => {
        if (rows.length === 0) return <Empty what="events of this branch" call={CALLS.design} />;
        const named = rows.map((row) => ({
          ...row,
          part: textOf(row[partOf(row)]),
          mean: typeof row.total === "number" ? ratio(row.total, numberOf(row.events)) : null,
        }));
        return (
          <DataTable
            caption={under === "" ? "Events by the first part of their ids" : `Events below ${under}`}
            file="designs"
            sort="events"
            rows={named}
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
              {name: "total", title: "Sum of values"},
              {name: "mean", title: "Value per event"},
              {name: "least", title: "Least"},
              {name: "most", title: "Greatest"},
            ]}
          />
        );
      }}
    </Answered>
  );
}

function Days({under}: {under: string}) {
  const {from = "", to = ""} = useView().values;
  const days = eachDay(from, to < today() ? to : today());
  return (
    <Answered of={useQuestion("designs", {under: under === "" ? undefined : under, daily: "yes"})} what="the days">
      {({rows}) => {
        const parts = [...groupedBy(rows, (row) => textOf(row[partOf(row)]))]
          .sort((one, other) => sumOf(other[1], "events") - sumOf(one[1], "events"))
          .slice(0, MOST_LINES);
        if (parts.length === 0) return <Empty what="events of this branch" call={CALLS.design} />;
        return (
          <Chart
            title="Events by day, the most frequent parts"
            file="designs-by-day"
            x={days.map(dayStart)}
            xTitle="Day"
            format={whole}
            series={parts.map(([label, of]) => ({
              label: label === "" ? "ends here" : label,
              values: byDay(of, days, (row) => numberOf(row.events)),
            }))}
          />
        );
      }}
    </Answered>
  );
}

function Values({under}: {under: string}) {
  return (
    <Answered of={useQuestion("values", {under: under === "" ? undefined : under})} what="the values">
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
    <Answered
      of={useQuestion("designs", {under: under === "" ? undefined : under, by: `field:${field}`})}
      what="the field"
    >
      {({rows}) => {
        const column = Object.keys(rows[0] ?? {}).find((name) => name === field || name === `field:${field}`);
        if (column === undefined) return <p class="note">No event of this branch is there to be split.</p>;
        return (
          <DataTable
            caption={`Events by the custom field ${field}`}
            file="field"
            sort="events"
            rows={rows.map((row) => ({...row, of_field: row[column] ?? ""}))}
            columns={[
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

export function Designs() {
  const view = useView();
  const {under = "", field} = view.values;
  const rows = {category: "design", under: under === "" ? undefined : under};
  return (
    <>
      <Section
        title="The tree of events"
        rows={rows}
        how="One part of the ids at a time; a line counts all that stands below it. Different players of two lines may be the same."
      >
        <Path under={under} />
        <Branch key={under} under={under} />
      </Section>
      <Section title="Over time" rows={rows}>
        <Days key={under} under={under} />
      </Section>
      <Section
        title="How the values spread"
        rows={rows}
        how="At most 20 steps of equal width that leave out the hundredth with the lowest values and the one with the highest: those are in the first and the last step."
      >
        <Values key={under} under={under} />
      </Section>
      <Section
        title="Split by a custom field"
        rows={rows}
        how="Custom fields may be anything, so each event is read for this: of 20,000 events at most."
      >
        <label class="choice">
          Name of the field
          <input
            type="search"
            value={field ?? ""}
            placeholder="difficulty"
            onChange={({currentTarget: {value}}) => go(view, {field: value.trim() === "" ? undefined : value.trim()})}
          />
        </label>
        {field !== undefined && <ByField key={`${under} ${field}`} under={under} field={field} />}
      </Section>
    </>
  );
}
