// Which group of an experiment does better, and whether that can be told yet.
import {go, useView} from "../address";
import {together, useQuestion} from "../asked";
import {duration, money, number, share, whole} from "../format";
import {difference, isSure, meanInterval, neededFor, shareInterval, type Interval} from "../intervals";
import {DataTable} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {currenciesOf, groupedBy, numberOf, ratio, textOf, type Row} from "../rows";

interface Group {
  readonly name: string;
  readonly whole: Row; // what doesn't depend on the currency
  readonly money: Row | undefined; // of the chosen currency
  readonly crashed: number;
}

interface Measure {
  readonly title: string;
  readonly of: (group: Group) => Interval | null;
  readonly format: (value: number) => string;
  readonly good: "more" | "less";
}

const measuresOf = (currency: string | undefined): Measure[] => [
  {
    title: "New players who came back on the next day",
    good: "more",
    format: share,
    of: ({whole}) => shareInterval(numberOf(whole.back_next_day), numberOf(whole.new_with_next_day)),
  },
  {
    title: "Players without a critical error",
    good: "more",
    format: share,
    of: ({whole, crashed}) => shareInterval(Math.max(0, numberOf(whole.players) - crashed), numberOf(whole.players)),
  },
  ...(currency === undefined
    ? []
    : ([
        {
          title: `Players who paid in ${currency}`,
          good: "more",
          format: share,
          of: ({whole, money}) => shareInterval(numberOf(money?.payers), numberOf(whole.players)),
        },
        {
          title: `Revenue per player in ${currency}`,
          good: "more",
          format: (value) => money(value, currency),
          of: ({whole, money}) =>
            meanInterval(numberOf(money?.amount), numberOf(money?.amount_squares), numberOf(whole.players)),
        },
      ] satisfies Measure[])),
];

function verdictOf(of: Interval, good: Measure["good"]): string {
  if (!isSure(of)) return "can't be told";
  return of.value > 0 === (good === "more") ? "better" : "worse";
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

function Measured({measure, groups, reference}: {measure: Measure; groups: readonly Group[]; reference: Group}) {
  const {title, of, format, good} = measure;
  const all = groups.map((group) => ({group, interval: of(group)}));
  const known = all.flatMap(({interval}) => interval ?? []);
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
            <th scope="col" class="of-numbers">
              Value
            </th>
            <th scope="col">From</th>
            <th scope="col">
              <span class="unseen">As a picture</span>
            </th>
            <th scope="col">to</th>
            <th scope="col">Against {reference.name}</th>
          </tr>
        </thead>
        <tbody>
          {all.map(({group, interval}) => {
            if (!interval)
              return (
                <tr key={group.name}>
                  <th scope="row">
                    <bdi>{group.name}</bdi>
                  </th>
                  <td colSpan={5} class="none">
                    too few players
                  </td>
                </tr>
              );
            const against = base && group !== reference ? difference(interval, base) : null;
            const verdict = against && verdictOf(against, good);
            return (
              <tr key={group.name}>
                <th scope="row">
                  <bdi>{group.name}</bdi>
                </th>
                <td class="of-numbers">{format(interval.value)}</td>
                <td class="of-numbers">{format(interval.low)}</td>
                <td class="picture">
                  <Bar of={interval} least={least} most={most} />
                </td>
                <td class="of-numbers">{format(interval.high)}</td>
                <td>
                  {against === null ? (
                    ""
                  ) : (
                    <>
                      <strong class={verdict === "better" ? "change good" : verdict === "worse" ? "change bad" : ""}>
                        {verdict}
                      </strong>
                      : {format(against.low)} to {format(against.high)}
                    </>
                  )}
                </td>
              </tr>
            );
          })}
        </tbody>
      </table>
    </div>
  );
}

// Looking every day until something seems to differ finds differences that aren't there.
function Warning({groups}: {groups: readonly Group[]}) {
  const fewest = Math.min(...groups.map(({whole}) => numberOf(whole.new_with_next_day)));
  const all = groups.reduce((sum, {whole}) => sum + numberOf(whole.new_with_next_day), 0);
  const back = groups.reduce((sum, {whole}) => sum + numberOf(whole.back_next_day), 0);
  const needed = neededFor(ratio(back, all) ?? 0);
  const isEarly = fewest < needed;
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
  crashed,
  currency,
}: {
  name: string;
  rows: readonly Row[];
  crashed: readonly Row[];
  currency: string | undefined;
}) {
  const view = useView();
  const groups = [...groupedBy(rows, (row) => textOf(row.ab_variant_id))].sort().map(([variant, of]): Group => ({
    name: variant,
    whole: of[0]!,
    money: of.find((row) => row.currency === currency),
    crashed: numberOf(crashed.find((row) => row.ab_id === name && row.ab_variant_id === variant)?.players),
  }));
  const reference = groups.find((group) => group.name === view.values.reference) ?? groups[0]!;
  return (
    <Section
      title={name}
      rows={{category: "user", ab_id: name}}
      how="Of players whose records name the group. The interval holds the true value in 95 of 100 cases; a difference is told only where its own interval doesn't hold 0. With several groups and measures, one in twenty looks different by chance."
    >
      <Warning groups={groups} />
      <label class="choice">
        Compared with
        <select value={reference.name} onChange={({currentTarget: {value}}) => go(view, {reference: value})}>
          {groups.map((group) => (
            <option key={group.name}>{group.name}</option>
          ))}
        </select>
      </label>
      {measuresOf(currency).map((measure) => (
        <Measured key={measure.title} measure={measure} groups={groups} reference={reference} />
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
  const asked = together(useQuestion("groups"), useQuestion("errors", {by: "severity,ab_id,ab_variant_id"}));
  return (
    <Answered of={asked} what="the experiments">
      {([{rows}, errors]) => {
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
            {currencies.length > 1 && (
              <label class="choice">
                Currency
                <select value={chosen} onChange={({currentTarget: {value}}) => go(view, {currency: value})}>
                  {currencies.map((each) => (
                    <option key={each}>{each}</option>
                  ))}
                </select>
              </label>
            )}
            {[...experiments].map(([name, of]) => (
              <Experiment key={name} name={name} rows={of} crashed={crashed} currency={chosen} />
            ))}
          </>
        );
      }}
    </Answered>
  );
}
