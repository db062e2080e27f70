// The picture of a chart: what uPlot is given, and what is drawn around its lines.
import UPlot from "uplot";
import {shortDay} from "../format";

export interface Series {
  readonly label: string;
  readonly values: readonly (number | null)[];
  readonly color?: number; // one of eight; else the next one
  readonly isDashed?: boolean; // lets another line that has the same values be seen
}

export interface Mark {
  readonly at: number; // on the x axis
  readonly label: string;
}

export interface Picture {
  x: readonly number[];
  series: readonly Series[];
  formatAxis: (value: number) => string;
  axisUnit?: number; // steps along the axis are multiples of it
  formatX?: (value: number) => string; // else x are days, in seconds
  formatXAxis?: (value: number) => string;
  marks: readonly Mark[];
  bars?: boolean;
  isOpen: boolean; // the last of x isn't over yet
}

const HEIGHT = 240;
const AXIS = 72; // of the y axis, with its texts
const RIGHT = 24; // half of a day's text stands there
const DAY = 86_400; // seconds
const COLORS = 8;
const WHOLE_STEPS = Array.from({length: 300}, (_, power) => [1, 2, 5].map((digit) => digit * 10 ** power)).flat();
const DAY_STEPS = [1, 2, 7, 14, 28, 91, 182, 364].map((days) => days * DAY);

export const colorOf = (series: Series, index: number): string => `--series-${series.color ?? (index % COLORS) + 1}`;
export const hasNumbers = (series: readonly Series[]): boolean =>
  series.some(({values}) => values.some((value) => value !== null));

// The canvas takes no variables of the style sheet.
function styled(name: string): string {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

const stepOf = ({x, formatX}: Picture): number => (x.length > 1 ? x[1]! - x[0]! : formatX ? 1 : DAY);

// One point, and bars, need room on both sides.
function rangeOf(picture: Picture): [number, number] {
  const {x, bars} = picture;
  const room = bars || x.length < 2 ? stepOf(picture) * 0.6 : 0;
  return [(x[0] ?? 0) - room, (x.at(-1) ?? 0) + room];
}

const LABEL_ROWS = 3;
const LABEL_HEIGHT = 14;
const LABEL_GAP = 6;
const LABEL_FONT = "11px system-ui, sans-serif";
const LONGEST_LABEL = 24;

interface Label {
  readonly at: number;
  readonly text: string; // empty where there is no room for it
  readonly row: number; // from the top
  readonly isLeft: boolean; // of its line
}

// The latest is what is looked for: where there is no room for it, the ones before it give theirs.
function labelsOf(picture: Picture, width: number): Label[] {
  const silent = new Set<number>();
  for (;;) {
    const labels = placedLabels(picture, width, silent);
    const shown = labels.filter(({text}) => text !== "");
    if (shown.length === 0 || labels.at(-1)!.text !== "") return labels;
    silent.add(shown.at(-1)!.at);
  }
}

// Labels above the picture so that none lies on another, or on another's line: a line goes up to its label's row.
function placedLabels(picture: Picture, width: number, silent: ReadonlySet<number>): Label[] {
  const [least, most] = rangeOf(picture);
  const room = width - AXIS - RIGHT;
  const pen = document.createElement("canvas").getContext("2d")!;
  pen.font = LABEL_FONT;
  const ends = new Array<number>(LABEL_ROWS).fill(-Infinity);
  const places = [...new Set(picture.marks.map(({at}) => at))]
    .filter((at) => at >= least && at <= most)
    .sort((a, b) => a - b);
  return places.map((at) => {
    const names = picture.marks.filter((mark) => mark.at === at).map(({label}) => label);
    const text = names.join(", ").slice(0, LONGEST_LABEL);
    const x = ((at - least) / (most - least)) * room;
    const length = pen.measureText(text).width + LABEL_GAP;
    const isLeft = x + length > room + RIGHT;
    const start = isLeft ? x - length : x;
    const rows = ends.map((_, row) => row);
    const isFree = (row: number) =>
      ends.every((end, other) => end < (isLeft ? (other <= row ? start : x) : other >= row ? start : Infinity));
    const row = rows.find(isFree);
    if (row === undefined || silent.has(at)) return {at, text: "", row: LABEL_ROWS, isLeft};
    ends[row] = start + length;
    return {at, text, row, isLeft};
  });
}

function drawLabels(plot: UPlot, labels: readonly Label[], rows: number): void {
  const {ctx, bbox} = plot;
  const ratio = devicePixelRatio;
  ctx.save();
  ctx.strokeStyle = ctx.fillStyle = styled("--mark");
  ctx.font = LABEL_FONT.replace("11", String(11 * ratio));
  ctx.textBaseline = "middle";
  ctx.setLineDash([3 * ratio, 3 * ratio]);
  for (const {at, text, row, isLeft} of labels) {
    const x = plot.valToPos(at, "x", true);
    const top = bbox.top - Math.max(0, rows - row) * LABEL_HEIGHT * ratio;
    ctx.beginPath();
    ctx.moveTo(x, top);
    ctx.lineTo(x, bbox.top + bbox.height);
    ctx.stroke();
    ctx.textAlign = isLeft ? "right" : "left";
    ctx.fillText(text, x + (isLeft ? -4 : 4) * ratio, top + (LABEL_HEIGHT / 2) * ratio);
  }
  ctx.restore();
}

// The ground of a day that isn't over: its numbers still grow. Not back to the point of the day before, which is over.
function drawOpenDay(plot: UPlot, picture: Picture): void {
  const {ctx, bbox} = plot;
  const step = stepOf(picture);
  const from = picture.x.at(-1)! - step / 2;
  const x = Math.max(bbox.left, plot.valToPos(from, "x", true));
  ctx.save();
  ctx.fillStyle = styled("--open");
  ctx.fillRect(x, bbox.top, bbox.left + bbox.width - x, bbox.height);
  ctx.restore();
}

// Between two that are missing there is no line to be seen.
function aloneIn(values: readonly (number | null)[]): number[] {
  const isThere = (index: number) => typeof values[index] === "number";
  return values.flatMap((_, index) => (isThere(index) && !isThere(index - 1) && !isThere(index + 1) ? [index] : []));
}

export function optionsOf(
  picture: Picture,
  width: number,
  hidden: ReadonlySet<string>,
  onCursor: (index: number | null) => void,
): UPlot.Options {
  const {x, series, formatX, axisUnit, bars} = picture;
  const axis = {
    stroke: styled("--quiet"),
    grid: {stroke: styled("--grid"), width: 1},
    ticks: {stroke: styled("--grid"), width: 1},
  };
  const ofX = picture.formatXAxis ?? formatX ?? shortDay;
  const areWhole = series.every(({values}) => values.every((value) => value === null || Number.isInteger(value)));
  const paths = bars ? UPlot.paths.bars!({size: [0.8, 60]}) : undefined;
  const ground = series.length > 1 ? undefined : `${styled("--series-1")}22`;
  const labels = labelsOf(picture, width);
  const rows = Math.max(0, ...labels.map(({row}) => Math.min(LABEL_ROWS, row + 1)));
  return {
    width,
    height: HEIGHT,
    padding: [rows === 0 ? null : rows * LABEL_HEIGHT + LABEL_GAP, RIGHT, null, null],
    legend: {show: false},
    cursor: {drag: {setScale: false, x: false, y: false}, points: {size: 6}},
    scales: {
      x: {time: false, range: () => rangeOf(picture)},
      y: {range: (_, min, max) => [Math.min(0, min * 1.08), max <= 0 && min >= 0 ? 1 : Math.max(0, max * 1.08)]},
    },
    axes: [
      {
        ...axis,
        size: 40,
        incrs: formatX ? WHOLE_STEPS : DAY_STEPS,
        values: (_, splits) => splits.map((at) => (Number.isInteger(at) ? ofX(at) : "")),
      },
      {
        ...axis,
        size: AXIS,
        incrs: axisUnit !== undefined || areWhole ? WHOLE_STEPS.map((step) => step * (axisUnit ?? 1)) : undefined,
        values: (_, splits) => splits.map(picture.formatAxis),
      },
    ],
    series: [
      {},
      ...series.map((each, index) => ({
        label: each.label,
        show: !hidden.has(each.label),
        stroke: styled(colorOf(each, index)),
        fill: bars ? styled(colorOf(each, index)) : ground,
        width: bars ? 0 : 2,
        dash: each.isDashed ? [6, 6] : undefined,
        paths,
        points: {show: !bars && x.length < 3, filter: bars || x.length < 3 ? undefined : () => aloneIn(each.values)},
      })),
    ],
    hooks: {
      drawClear: picture.isOpen ? [(plot) => drawOpenDay(plot, picture)] : [],
      draw: labels.length === 0 ? [] : [(plot) => drawLabels(plot, labels, rows)],
      setCursor: [(plot) => onCursor(plot.cursor.idx ?? null)],
    },
  };
}
