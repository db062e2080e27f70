// How ads do: shows, clicks and failures by network and by placement.
import {useView} from "../address";
import {useQuestion} from "../asked";
import {CALLS} from "../calls";
import {dayStart, eachDay, today} from "../days";
import {share, whole} from "../format";
import {Chart} from "../parts/chart";
import {DataTable} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {byDay, groupedBy, numberOf, ratio, sumOf, textOf, type Row} from "../rows";

const ACTIONS = ["request", "loaded", "show", "clicked", "reward_received", "failed_show"] as const;
const TITLES: Record<(typeof ACTIONS)[number], string> = {
  request: "Requests",
  loaded: "Loaded",
  show: "Shows",
  clicked: "Clicks",
  reward_received: "Rewards",
  failed_show: "Failures",
};

// Rows by some columns and the action, as one row with a column for each action.
function actionsOf(rows: readonly Row[], names: readonly string[]): Row[] {
  return [...groupedBy(rows, (row) => names.map((name) => textOf(row[name])).join("\n")).values()].map((group) => {
    const count = (action: string) => numberOf(group.find((row) => row.ad_action === action)?.events);
    return {
      ...Object.fromEntries(names.map((name) => [name, group[0]![name] ?? null])),
      ...Object.fromEntries(ACTIONS.map((action) => [action, count(action)])),
      clicked_share: ratio(count("clicked"), count("show")),
      failed_share: ratio(count("failed_show"), count("show") + count("failed_show")),
    };
  });
}

const rate = (value: unknown) => share(value as number | null);
const countOf = (name: (typeof ACTIONS)[number]) => ({name, title: TITLES[name]});

// In a narrow window the first ones are in view.
const COLUMNS = [
  countOf("show"),
  {name: "clicked_share", title: "Click rate", show: rate},
  {name: "failed_share", title: "Fail rate", show: rate},
  ...(["clicked", "failed_show", "reward_received", "request", "loaded"] as const).map(countOf),
];

function By({
  names,
  titles,
  caption,
  file,
}: {
  names: readonly string[];
  titles: readonly string[];
  caption: string;
  file: string;
}) {
  const [first, ...others] = names.map((name, index) => ({name, title: titles[index]!}));
  return (
    <Answered of={useQuestion("ads", {by: [...names, "ad_action"].join(",")})} what="the ads">
      {({rows}) =>
        rows.length === 0 ? (
          <Empty what="ads" />
        ) : (
          <DataTable
            caption={caption}
            file={file}
            sort="show"
            rows={actionsOf(rows, names)}
            columns={[first!, ...COLUMNS, ...others]}
          />
        )
      }
    </Answered>
  );
}

const CHARTS = [
  {title: "Ads asked for and shown by day", file: "ads-shown", actions: ["loaded", "request", "show"]},
  {title: "What came of them by day", file: "ads-outcome", actions: ["clicked", "reward_received", "failed_show"]},
] as const;

function Days() {
  const {from = "", to = ""} = useView().values;
  const days = eachDay(from, to < today() ? to : today());
  return (
    <Answered of={useQuestion("ads", {by: "ad_action", daily: "yes"})} what="the days">
      {({rows}) => {
        const byAction = groupedBy(rows, (row) => textOf(row.ad_action));
        if (byAction.size === 0) return <Empty what="ads" call={CALLS.ad} />;
        return (
          <div class="beside">
            {CHARTS.map(({title, file, actions}) => (
              <Chart
                key={file}
                title={title}
                file={file}
                x={days.map(dayStart)}
                xTitle="Day"
                format={whole}
                series={actions.map((action) => ({
                  label: TITLES[action],
                  color: ACTIONS.indexOf(action) + 1,
                  isDashed: action === "show", // as a rule, what is loaded is shown
                  values: byDay(byAction.get(action) ?? [], days, (row) => numberOf(row.events)),
                }))}
              />
            ))}
          </div>
        );
      }}
    </Answered>
  );
}

// A row for each reason, a column for each network.
function Failures() {
  return (
    <Answered of={useQuestion("ads", {by: "ad_network,ad_action,ad_fail_reason"})} what="the failures">
      {({rows}) => {
        const failed = rows.filter((row) => row.ad_action === "failed_show");
        if (failed.length === 0) return <p class="note">No show of an ad failed in this time.</p>;
        const networks = [...groupedBy(failed, (row) => textOf(row.ad_network)).keys()].sort();
        const all = sumOf(failed, "events");
        const reasons = [...groupedBy(failed, (row) => textOf(row.ad_fail_reason))].map(([reason, of]) => ({
          reason,
          events: sumOf(of, "events"),
          part: ratio(sumOf(of, "events"), all),
          ...Object.fromEntries(
            networks.map((name) => [
              `of ${name}`,
              sumOf(
                of.filter((row) => textOf(row.ad_network) === name),
                "events",
              ),
            ]),
          ),
        }));
        return (
          <DataTable
            caption="Failed shows by reason and network"
            file="ad-failures"
            sort="events"
            rows={reasons}
            columns={[
              {name: "reason", title: "Reason"},
              {name: "events", title: "Failures"},
              {name: "part", title: "Share", show: (value) => share(value as number | null)},
              ...networks.map((name) => ({name: `of ${name}`, title: name === "" ? "no network" : name})),
            ]}
          />
        );
      }}
    </Answered>
  );
}

export function Ads() {
  return (
    <>
      <Section
        title="Day by day"
        rows={{category: "ads"}}
        how="Reports of each action on each UTC day. A dashed line may lie on another."
      >
        <Days />
      </Section>
      <Section
        title="By network"
        rows={{category: "ads"}}
        how="Each number counts reports of that action. Clicks are divided by shows, failures by shows and failures together."
      >
        <By names={["ad_network"]} titles={["Network"]} caption="Ads by network" file="ads-by-network" />
      </Section>
      <Section
        title="By placement"
        rows={{category: "ads"}}
        how="The same, by where in the game and by the kind of ad."
      >
        <By
          names={["ad_placement", "ad_type"]}
          titles={["Placement", "Type"]}
          caption="Ads by placement"
          file="ads-by-placement"
        />
      </Section>
      <Section
        title="Why they fail"
        rows={{category: "ads", ad_action: "failed_show"}}
        how="Reports of shows that failed, by the reason that the game gave."
      >
        <Failures />
      </Section>
    </>
  );
}
