// Whether a build helped: the newest builds side by side.
import {useView} from "../address";
import {together, useQuestion, useQuestions, type Answer} from "../asked";
import {CALLS} from "../calls";
import {cohortsOf, shareAfter} from "../cohorts";
import {crashFreeOf} from "../errors";
import {duration, money, number, share, whole} from "../format";
import {DataTable, type Column} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {byVersion, currenciesOf, numberOf, numberOrNull, ratio, textOf, type Row} from "../rows";

const MOST = 8;

interface Answers {
  of: Answer; // the question overview, of the build
  retention: Answer;
  errors: Answer; // of all builds, by severity
  revenue: Answer; // of all builds, by currency
}

function numbersOf(build: string, {of, retention, errors, revenue}: Answers, currency: string | undefined, to: string) {
  const all = of.rows[0] ?? {};
  const players = numberOf(all.players);
  const own = ({rows}: Answer) => rows.filter((row) => row.build === build);
  const total = numberOf(own(revenue).find((row) => row.currency === currency)?.total);
  return {
    build,
    players,
    crashFree: crashFreeOf(players, own(errors)),
    day1: shareAfter(cohortsOf(retention), 1, to),
    sessions: ratio(numberOf(all.sessions), players),
    length: ratio(numberOf(all.seconds), numberOf(all.ended)),
    revenue: currency === undefined ? null : ratio(total, players),
  };
}

const COLUMNS: readonly Column[] = [
  {name: "build", title: "Build"},
  {name: "players", title: "Players", show: (value) => whole(numberOrNull(value))},
  {name: "crashFree", title: "Crash-free players", show: (value) => share(numberOrNull(value))},
  {name: "day1", title: "Day 1", show: (value) => share(numberOrNull(value))},
  {name: "sessions", title: "Sessions per player", show: (value) => number(numberOrNull(value))},
  {name: "length", title: "Length of a session", show: (value) => duration(numberOrNull(value))},
];

function columnsWith(currency: string | undefined): readonly Column[] {
  if (currency === undefined) return COLUMNS; // nobody paid
  const show: Column["show"] = (value) => money(numberOrNull(value), currency);
  return [...COLUMNS, {name: "revenue", title: `Revenue per player in ${currency}`, show}];
}

function Table({builds}: {builds: readonly string[]}) {
  const {currency, to = ""} = useView().values;
  const parts = builds.map((build) => ({build}));
  const asked = together(
    useQuestions(
      "overview",
      parts.map((part) => ({...part, whole: "yes"})),
    ),
    useQuestions("retention", parts),
    useQuestion("errors", {by: "build,severity"}),
    useQuestion("revenue", {by: "build,currency"}),
  );
  return (
    <Answered of={asked} what="the builds">
      {([overviews, retentions, errors, revenue]) => {
        const currencies = currenciesOf(revenue.rows);
        const chosen = currency !== undefined && currencies.includes(currency) ? currency : currencies[0];
        const rows: Row[] = builds.map((build, index) =>
          numbersOf(build, {of: overviews[index]!, retention: retentions[index]!, errors, revenue}, chosen, to),
        );
        return <DataTable caption="Builds, the newest first" file="builds" rows={rows} columns={columnsWith(chosen)} />;
      }}
    </Answered>
  );
}

export function Builds() {
  return (
    <Answered of={useQuestion("builds")} what="the builds">
      {({rows}) => {
        if (rows.length === 0) return <Empty what="players" call={CALLS.build} />;
        const builds = rows.map((row) => textOf(row.build)).sort((one, other) => byVersion(other, one));
        const shown = builds.slice(0, MOST);
        return (
          <Section
            title="Side by side"
            rows={{}}
            how={`Players of a build have a record of it in this time, so who had two counts for both. Crash-free are those without a critical error of that build. Day 1 is the part of those who began with the build and were there on the day after. Builds aren't played on the same days: a newer one has had its players for a shorter time, so look at shares and means rather than at sums.${
              builds.length > MOST ? ` The newest ${MOST} of ${whole(builds.length)}.` : ""
            }`}
          >
            <Table key={shown.join("\n")} builds={shown} />
          </Section>
        );
      }}
    </Answered>
  );
}
