// Whether players come back: cohorts by their first day, and what part of them was there so many days later.
import {go, useView} from "../address";
import type {Cell} from "../api";
import {useQuestion, useQuestions, type Answer, type Own} from "../asked";
import {CALLS} from "../calls";
import {cohortsOf, isOver, rangeAfter, shareAfter} from "../cohorts";
import {dayNumber, dayText} from "../days";
import {day, share, whole} from "../format";
import {Chart, type Series} from "../parts/chart";
import {DataTable} from "../parts/data-table";
import {HeatMap} from "../parts/heat-map";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {Tile, Tiles} from "../parts/tile";
import {byVersion, ratio, textOf} from "../rows";

const DAYS = [1, 7, 30] as const;
const MOST_DAYS = 30;
const daysLater = (from: string, to: string): number[] =>
  Array.from({length: Math.min(MOST_DAYS, Math.max(0, dayNumber(to) - dayNumber(from))) + 1}, (_, index) => index);

const SPLITS = [
  ["", "nothing"],
  ["build", "build"],
  ["platform", "platform"],
  ["ab_variant_id", "A/B group"],
] as const;
const MOST_CURVES = 8;

function Curves({all, to, later}: {all: Answer; to: string; later: readonly number[]}) {
  const view = useView();
  const by = view.values.by ?? "";
  return (
    <>
      <label class="choice">
        Split by
        <select value={by} onChange={({currentTarget: {value}}) => go(view, {by: value === "" ? undefined : value})}>
          {SPLITS.map(([name, title]) => (
            <option key={name} value={name}>
              {title}
            </option>
          ))}
        </select>
      </label>
      {by === "" ? (
        <Picture later={later} series={[curveOf(all, "All players", to, later)]} />
      ) : (
        <CurvesBy key={by} by={by} to={to} later={later} />
      )}
    </>
  );
}

function Picture({series, later}: {series: readonly Series[]; later: readonly number[]}) {
  return (
    <Chart
      title="Players who are there so many days after their first"
      file="retention"
      x={later.slice(1)}
      xTitle="Days later"
      formatX={(value) => `day ${value}`}
      format={share}
      formatAxis={share}
      series={series}
    />
  );
}

const curveOf = (answer: Answer, label: string, to: string, later: readonly number[]): Series => ({
  label,
  values: later.slice(1).map((each) => shareAfter(cohortsOf(answer), each, to)),
});

// A group is one of its experiment.
const columnsOf = (by: string): readonly string[] => (by === "ab_variant_id" ? ["ab_id", by] : [by]);
const labelOf = (part: Own): string =>
  Object.values(part)
    .filter((value) => value !== "")
    .join(": ") || "none";

function CurvesBy({by, to, later}: {by: string; to: string; later: readonly number[]}) {
  const columns = columnsOf(by);
  return (
    <Answered of={useQuestion("segments", {by: columns.join(",")})} what="what to split by">
      {({rows}) => {
        const parts = rows
          .slice(0, MOST_CURVES)
          .map((row): Own => Object.fromEntries(columns.map((column) => [column, textOf(row[column])])))
          .sort((one, other) => byVersion(labelOf(one), labelOf(other)));
        return <CurvesOf key={JSON.stringify(parts)} by={by} parts={parts} to={to} later={later} />;
      }}
    </Answered>
  );
}

function CurvesOf({by, parts, to, later}: {by: string; parts: readonly Own[]; to: string; later: readonly number[]}) {
  const title = SPLITS.find(([name]) => name === by)?.[1] ?? by;
  return (
    <Answered of={useQuestions("retention", parts)} what="the cohorts">
      {(answers) => (
        <>
          <Picture
            later={later}
            series={answers.map((answer, index) => curveOf(answer, labelOf(parts[index]!), to, later))}
          />
          <DataTable
            caption={`Day 1, 7 and 30 by ${title}`}
            file="retention-by-part"
            rows={answers.map((answer, index) => {
              const cohorts = cohortsOf(answer);
              return {
                part: labelOf(parts[index]!),
                players: cohorts.reduce((sum, cohort) => sum + cohort.size, 0),
                ...Object.fromEntries(DAYS.map((each) => [`day${each}`, shareAfter(cohorts, each, to)])),
                range: rangeAfter(cohorts, DAYS[0], to),
              };
            })}
            columns={[
              {name: "part", title: title[0]!.toUpperCase() + title.slice(1)},
              {name: "players", title: "New players"},
              ...DAYS.map((each) => ({
                name: `day${each}`,
                title: `Day ${each}`,
                show: (value: Cell) => share(value as number | null),
              })),
              {name: "range", title: "Day 1, in 95 of 100 cases"},
            ]}
          />
        </>
      )}
    </Answered>
  );
}

export function Retention() {
  const {from = "", to = ""} = useView().values;
  const later = daysLater(from, to);
  const all = useQuestion("retention");
  return (
    <Answered of={all} what="the cohorts">
      {(answer) => {
        const cohorts = cohortsOf(answer);
        if (cohorts.length === 0) return <Empty what="new players" call={CALLS.start} />;
        return (
          <>
            <Section
              title="Day 1, 7 and 30"
              rows={{category: "user"}}
              how="Of the players first seen in this time, the part with a record so many days later: of all cohorts together whose day is over and lies in this time. A filter is about the first day: players are followed wherever they go, such as to a later build."
            >
              <Tiles>
                {DAYS.map((each) => (
                  <Tile
                    key={each}
                    label={`Day ${each}`}
                    value={shareAfter(cohorts, each, to)}
                    format={share}
                    note={shareAfter(cohorts, each, to) === null ? "no cohort has had it: choose more days" : undefined}
                  />
                ))}
              </Tiles>
            </Section>
            <Section
              title="Curves"
              how="The same for every day. A split puts players where they were on their first day and follows them wherever they go; who had two builds on that day is in both. Parts whose day 1 lies within the range of each other can't be told apart."
            >
              <Curves all={answer} to={to} later={later} />
            </Section>
            <Section
              title="Cohorts"
              how="A row for the players of each first day. A day that isn't over yet stays empty."
            >
              <HeatMap
                caption="The part of a day's new players who are there so many days later (0 is the first day itself)"
                file="cohorts"
                corner="First day"
                sizeTitle="Players"
                columns={later.map(String)}
                rows={cohorts.map((cohort) => ({
                  title: day(dayText(dayNumber(cohort.firstDay))),
                  size: whole(cohort.size),
                  shares: later.map((each) =>
                    isOver(cohort, each, to) ? ratio(cohort.players.get(each) ?? 0, cohort.size) : null,
                  ),
                }))}
              />
            </Section>
          </>
        );
      }}
    </Answered>
  );
}
