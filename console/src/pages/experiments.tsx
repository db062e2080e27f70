// Which group of an experiment does better, and whether that can be told yet.
import {useView} from "../address";
import {together, useQuestion} from "../asked";
import {daysLater, today} from "../days";
import {duration, money, number, share, signed, signedPoints, unitsOf, whole} from "../format";
import {difference, isSure, meanInterval, neededFor, ratioInterval, shareInterval, type Interval} from "../intervals";
import {Choice} from "../parts/choice";
import {DataTable} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {currenciesOf, groupedBy, numberOf, ratio, textOf, type Row} from "../rows";

interface Group {
  readonly name: string;
  readonly whole: Row; // what doesn't depend on the currency
  readonly over: Row; // the same of the days that are over: who began yesterday may still come back today
  readonly money: Row | undefined; // of the chosen currency
  readonly crashed: number;
}

interface Measure {
  readonly title: string;
  readonly of: (group: Group) => Interval | null;
  readonly format: (value: number) => string;
  readonly difference: (value: number) => string; // with its sign, in `unit`
  readonly unit: string;
}

// More is better, of all of them; none is ever below 0.
const SHARE = {format: share, difference: signedPoints, unit: "percentage points"};

const measuresOf = (currency: string | undefined): Measure[] => [
  {
    ...SHARE,
    title: "New players who came back on the next day",
    of: ({over}) => shareInterval(numberOf(over.back_next_day), numberOf(over.new_with_next_day)),
  },
  {
    title: "Sessions of a player",
    format: number,
    difference: signed,
    unit: "sessions",
    of: ({whole}) => meanInterval(numberOf(whole.sessions), numberOf(whole.sessions_squares), numberOf(whole.players)),
  },
  {
    title: "Length of a session",
    format: duration,
    difference: signed,
    unit: "seconds",
    of: ({whole}) =>
      ratioInterval(
        {
          of: numberOf(whole.seconds),
          by: numberOf(whole.ended),
          ofSquares: numberOf(whole.seconds_squares),
          bySquares: numberOf(whole.ended_squares),
          ofTimesBy: numberOf(whole.ended_by_seconds),
        },
        numberOf(whole.players),
      ),
  },
  {
    ...SHARE,
    title: "Crash-free players",
    of: ({whole, crashed}) => shareInterval(Math.max(0, numberOf(whole.players) - crashed), numberOf(whole.players)),
  },
  ...(currency === undefined
    ? []
    : ([
        {
          ...SHARE,
          title: `Players who paid in ${currency}`,
          of: ({whole, money}) => shareInterval(numberOf(money?.payers), numberOf(whole.players)),
        },
        {
          title: `Revenue per player in ${currency}`,
          format: (value) => money(value, currency),
          difference: (value) => signed(value / unitsOf(currency)),
          unit: currency,
          of: ({whole, money}) =>
            meanInterval(numberOf(money?.amount), numberOf(money?.amount_squares), numberOf(whole.players)),
        },
      ] satisfies Measure[])),
];

type Verdict = "better" | "worse" | "no difference seen";
const CLASSES: Partial<Record<Verdict, string>> = {better: "change good", worse: "change bad"};

function verdictOf(of: Interval): Verdict {
  if (!isSure(of)) return "no difference seen";
  return of.value > 0 ? "better" : "worse";
}

// The interval as a bar on one scale for all groups.
function Bar({of, least, most}: {of: Interval; least: number; most: number}) {
  const at = (value: number) => (most === least ? 50 : ((value - least) / (most - least)) * 100);
  return (
    <span class="interval" aria-hidden="true">
      <span class="range" style={{left: `${at(of.low)}%`, width: `${Math.max(0.5, at(of.high) - at(of.low))}%`}} />
      <span class="point" style={{left: `${at(of.value)}%`}} />
    </span>
  );
}

function Against({measure, of, isEarly}: {measure: Measure; of: Interval; isEarly: boolean}) {
  const verdict = verdictOf(of);
  return (
    <>
      {isEarly ? (
        <span>{isSure(of) ? `${verdict} so far` : verdict}</span>
      ) : (
        <strong class={CLASSES[verdict] ?? ""}>{verdict}</strong>
      )}
      : {measure.difference(of.low)} to {measure.difference(of.high)} {measure.unit}
    </>
  );
}

interface Compared {
  groups: readonly Group[];
  reference: Group;
  isEarly: boolean;
}

function Measured({measure, groups, reference, isEarly}: Compared & {measure: Measure}) {
  const {title, of, format} = measure;
  const all = groups.map((group) => {
    const exact = of(group);
    return {group, exact, shown: exact && {...exact, low: Math.max(0, exact.low)}};
  });
  const known = all.flatMap(({shown}) => shown ?? []);
  const least = Math.min(...known.map((each) => each.low));
  const most = Math.max(...known.map((each) => each.high));
  const base = of(reference);
  return (
    <div class="wide" tabIndex={0} role="region" aria-label={title}>
      <table class="measure">
        <caption>{title}</caption>
        <thead>
          <tr>
            <th scope="col">Group</th>
            <th scope="col">Against {reference.name}</th>
            <th scope="col" class="of-numbers">
              Value
            </th>
            <th scope="col" class="of-numbers">
              At least
            </th>
            <th scope="col" class="of-numbers">
              At most
            </th>
            <th scope="col">
              <span class="unseen">As a picture</span>
            </th>
          </tr>
        </thead>
        <tbody>
          {all.map(({group, exact, shown}) => (
            <tr key={group.name}>
              <th scope="row">
                <bdi>{group.name}</bdi>
              </th>
              {exact && shown ? (
                <>
                  <td>
                    {group !== reference && base && (
                      <Against measure={measure} of={difference(exact, base)} isEarly={isEarly} />
                    )}
                  </td>
                  <td class="of-numbers">{format(shown.value)}</td>
                  <td class="of-numbers">{format(shown.low)}</td>
                  <td class="of-numbers">{format(shown.high)}</td>
                  <td class="picture">
                    <Bar of={shown} least={least} most={most} />
                  </td>
                </>
              ) : (
                <td colSpan={5} class="none">
                  too few players
                </td>
              )}
            </tr>
          ))}
        </tbody>
      </table>
    </div>
  );
}

// What can be told of a group, in a sentence.
function Told({group, reference, measures}: {group: Group; reference: Group; measures: readonly Measure[]}) {
  const titlesOf = (verdict: Verdict): string =>
    measures
      .filter(({of}) => {
        const [one, other] = [of(group), of(reference)];
        return one && other && verdictOf(difference(one, other)) === verdict;
      })
      .map(({title}) => title.toLowerCase())
      .join(", ");
  const [better, worse] = [titlesOf("better"), titlesOf("worse")];
  return (
    <p>
      <strong>
        <bdi>{group.name}</bdi>
      </strong>{" "}
      against <bdi>{reference.name}</bdi>:{" "}
      {better === "" && worse === ""
        ? "no difference seen."
        : [better && `better at ${better}`, worse && `worse at ${worse}`].filter(Boolean).join("; ") + "."}
    </p>
  );
}

// How many new players each group needs, and how many the smallest has.
function needOf(groups: readonly Group[]): {needed: number; fewest: number} {
  const all = groups.reduce((sum, {over}) => sum + numberOf(over.new_with_next_day), 0);
  const back = groups.reduce((sum, {over}) => sum + numberOf(over.back_next_day), 0);
  return {
    needed: neededFor(ratio(back, all) ?? 0),
    fewest: Math.min(...groups.map(({over}) => numberOf(over.new_with_next_day))),
  };
}

// Looking every day until something seems to differ finds differences that aren't there.
function Warning({groups, isEarly}: {groups: readonly Group[]; isEarly: boolean}) {
  const {needed, fewest} = needOf(groups);
  return (
    <p class={isEarly ? "warning" : "note"}>
      {isEarly && <strong>It is too early to decide. </strong>}
      {Number.isFinite(needed)
        ? `To see whether a tenth more new players come back, each group needs about ${whole(needed)} of them; the smallest has ${whole(fewest)}. `
        : "No new player has come back yet. "}
      Choose the day of the decision beforehand: who looks every day and stops at the first difference finds one that
      isn't there.
    </p>
  );
}

function Experiment({
  name,
  rows,
  over,
  crashed,
  currency,
}: {
  name: string;
  rows: readonly Row[];
  over: readonly Row[]; // of all experiments, and so are those who crashed
  crashed: readonly Row[];
  currency: string | undefined;
}) {
  const view = useView();
  const groups = [...groupedBy(rows, (row) => textOf(row.ab_variant_id))].sort().map(([variant, of]): Group => ({
    name: variant,
    whole: of[0]!,
    over: over.find((row) => row.ab_id === name && row.ab_variant_id === variant) ?? {},
    money: of.find((row) => row.currency === currency),
    crashed: numberOf(crashed.find((row) => row.ab_id === name && row.ab_variant_id === variant)?.players),
  }));
  const reference = groups.find((group) => group.name === view.values.reference) ?? groups[0]!;
  const {needed, fewest} = needOf(groups);
  const isEarly = fewest < needed;
  const measures = measuresOf(currency);
  return (
    <Section
      title={name}
      rows={{category: "user", ab_id: name}}
      how="Of players whose records name the group. The interval holds the true value in 95 of 100 cases; a difference from one group to the other is one only where its own interval doesn't hold 0. With several groups and measures, one in twenty looks different by chance. The next day counts once it is over."
    >
      {!isEarly &&
        groups
          .filter((group) => group !== reference)
          .map((group) => <Told key={group.name} group={group} reference={reference} measures={measures} />)}
      <Warning groups={groups} isEarly={isEarly} />
      <Choice title="Compared with" name="reference" value={reference.name} values={groups.map(({name}) => name)} />
      {measures.map((measure) => (
        <Measured key={measure.title} measure={measure} groups={groups} reference={reference} isEarly={isEarly} />
      ))}
      <DataTable
        caption="What is counted"
        file="groups"
        rows={groups.map(({name: group, whole: of, money: paid, crashed: players}) => ({
          ...of,
          group,
          crashed: players,
          length: ratio(numberOf(of.seconds), numberOf(of.ended)),
          per_player: ratio(numberOf(of.sessions), numberOf(of.players)),
          paid: paid?.amount ?? 0,
          purchases_: paid?.purchases ?? 0,
        }))}
        columns={[
          {name: "group", title: "Group"},
          {name: "players", title: "Players"},
          {name: "new_players", title: "New players"},
          {name: "sessions", title: "Sessions"},
          {name: "per_player", title: "Sessions of a player", show: (value) => number(value as number | null)},
          {name: "length", title: "Length of a session", show: (value) => duration(value as number | null)},
          {name: "crashed", title: "Players with a critical error"},
          ...(currency === undefined
            ? []
            : [
                {name: "purchases_", title: `Purchases in ${currency}`},
                {
                  name: "paid",
                  title: `Revenue in ${currency}`,
                  show: (value: unknown) => money(value as number, currency),
                },
              ]),
        ]}
      />
    </Section>
  );
}

export function Experiments() {
  const view = useView();
  const {from = today(), to = today()} = view.values;
  const yesterday = daysLater(today(), -1);
  const asked = together(
    useQuestion("groups"),
    useQuestion("groups", {to: from < today() && yesterday < to ? yesterday : to}),
    useQuestion("errors", {by: "severity,ab_id,ab_variant_id"}),
  );
  return (
    <Answered of={asked} what="the experiments">
      {([{rows}, {rows: over}, errors]) => {
        const experiments = groupedBy(
          rows.filter((row) => row.ab_id !== ""),
          (row) => textOf(row.ab_id),
        );
        const crashed = errors.rows.filter((row) => row.severity === "critical");
        if (experiments.size === 0)
          return (
            <Empty
              what="players in an experiment"
              call='// Make one on the page Configurations; the game reads its values: Zorvane::getRemoteConfigsValueAsString("hat_price", "100");'
            />
          );
        const currencies = currenciesOf(
          rows.filter((row) => row.currency !== "").map((row) => ({...row, events: row.purchases ?? 0})),
        );
        const chosen = currencies.includes(view.values.currency ?? "") ? view.values.currency : currencies[0];
        return (
          <>
            {currencies.length > 1 && <Choice title="Currency" name="currency" value={chosen} values={currencies} />}
            {[...experiments].map(([name, of]) => (
              <Experiment key={name} name={name} rows={of} over={over} crashed={crashed} currency={chosen} />
            ))}
          </>
        );
      }}
    </Answered>
  );
}
