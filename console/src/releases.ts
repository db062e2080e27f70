// When builds came, to be marked along the days of a chart.
import {useView} from "./address";
import {useQuestion} from "./asked";
import {dayNumber, dayStart, dayText} from "./days";
import type {Mark} from "./parts/chart";
import {textOf} from "./rows";

// One that was there before has an earlier day.
const LOOK_BACK = 400;

export function useReleases(): Mark[] {
  const {from = ""} = useView().values;
  const builds = useQuestion("builds", {build: undefined, from: dayText(Math.max(0, dayNumber(from) - LOOK_BACK))});
  return (builds.value?.rows ?? []).flatMap((row) =>
    row.build !== "" && textOf(row.first_day) >= from
      ? [{at: dayStart(textOf(row.first_day)), label: textOf(row.build)}]
      : [],
  );
}
