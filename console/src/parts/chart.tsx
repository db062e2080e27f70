// Lines or bars over days or numbers, with the numbers themselves as a table below, for those who don't see the picture
// and those who take them elsewhere.
import {useEffect, useRef, useState} from "preact/hooks";
import UPlot from "uplot";
import "uplot/dist/uPlot.min.css";
import {dayText} from "../days";
import {day, number, short, shortDay} from "../format";
import {DataTable} from "./data-table";

export interface Series {
  readonly label: string;
  readonly values: readonly (number | null)[];
  readonly color?: number; // one of eight; else the next one
}

export interface Mark {
  readonly at: number; // on the x axis
  readonly label: string;
}

interface Props {
  title: string;
  file: string;
  x: readonly number[];
  xTitle: string;
  series: readonly Series[];
  format?: (value: number | null) => string; // of the values
  formatAxis?: (value: number) => string; // of the values along the axis
  formatX?: (value: number) => string; // else x are days, in seconds
  formatXAxis?: (value: number) => string; // along the axis, where there is less room
  marks?: readonly Mark[];
  bars?: boolean;
}

const HEIGHT = 240;
const DAY = 86_400; // seconds
const COLORS = 8;

const colorOf = (series: Series, index: number): string => `--series-${series.color ?? (index % COLORS) + 1}`;

// The canvas takes no variables of the style sheet.
function styled(name: string): string {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

// Marks above the lines: where a build first came.
function drawMarks(plot: UPlot, marks: readonly Mark[]): void {
  const {ctx, bbox} = plot;
  const ratio = devicePixelRatio;
  ctx.save();
  ctx.strokeStyle = ctx.fillStyle = styled("--mark");
  ctx.font = `${11 * ratio}px system-ui, sans-serif`;
  ctx.setLineDash([3 * ratio, 3 * ratio]);
  marks.forEach(({at, label}, index) => {
    const x = plot.valToPos(at, "x", true);
    if (x < bbox.left || x > bbox.left + bbox.width) return;
    ctx.beginPath();
    ctx.moveTo(x, bbox.top);
    ctx.lineTo(x, bbox.top + bbox.height);
    ctx.stroke();
    const isRight = x > bbox.left + bbox.width * 0.85;
    ctx.textAlign = isRight ? "right" : "left";
    ctx.fillText(label.slice(0, 24), x + (isRight ? -4 : 4) * ratio, bbox.top + (12 + (index % 2) * 13) * ratio);
  });
  ctx.restore();
}

function optionsOf(
  props: Props,
  width: number,
  hidden: ReadonlySet<string>,
  onCursor: (index: number | null) => void,
): UPlot.Options {
  const {series, format = number, formatAxis = short, formatX, marks = [], bars} = props;
  const axis = {
    stroke: styled("--quiet"),
    grid: {stroke: styled("--grid"), width: 1},
    ticks: {stroke: styled("--grid"), width: 1},
  };
  const ofX = props.formatXAxis ?? formatX ?? shortDay;
  const step = formatX ? undefined : [1, 2, 7, 14, 28, 91, 182, 364].map((days) => days * DAY);
  const paths = bars ? UPlot.paths.bars!({size: [0.8, 60]}) : undefined;
  const ground = series.length > 1 ? undefined : `${styled("--series-1")}22`;
  return {
    width,
    height: HEIGHT,
    legend: {show: false},
    cursor: {drag: {setScale: false, x: false, y: false}, points: {size: 6}},
    scales: {
      x: {time: false, range: bars ? (_, min, max) => [min - 0.6, max + 0.6] : undefined},
      y: {range: (_, min, max) => [Math.min(0, min), max <= 0 && min >= 0 ? 1 : Math.max(0, max) * 1.08]},
    },
    axes: [
      {
        ...axis,
        incrs: step ?? undefined,
        values: (_, splits) => splits.map((at) => (Number.isInteger(at) ? ofX(at) : "")),
      },
      {...axis, size: 64, values: (_, splits) => splits.map(formatAxis)},
    ],
    series: [
      {},
      ...series.map((each, index) => ({
        label: each.label,
        show: !hidden.has(each.label),
        stroke: styled(colorOf(each, index)),
        fill: bars ? styled(colorOf(each, index)) : ground,
        width: bars ? 0 : 2,
        paths,
        points: {show: !bars && props.x.length < 3},
        value: (_: UPlot, value: number | null) => format(value),
      })),
    ],
    hooks: {
      draw: marks.length === 0 ? [] : [(plot) => drawMarks(plot, marks)],
      setCursor: [(plot) => onCursor(plot.cursor.idx ?? null)],
    },
  };
}

// The width of an element, and whether the colours are dark: both make another picture.
function useSurroundings(element: {current: HTMLElement | null}): string {
  const [width, setWidth] = useState(0);
  const dark = matchMedia("(prefers-color-scheme: dark)");
  const [isDark, setDark] = useState(dark.matches);
  useEffect(() => {
    const observer = new ResizeObserver(([entry]) => entry && setWidth(Math.floor(entry.contentRect.width)));
    if (element.current) observer.observe(element.current);
    const follow = () => setDark(dark.matches);
    dark.addEventListener("change", follow);
    return () => {
      observer.disconnect();
      dark.removeEventListener("change", follow);
    };
  }, []);
  return `${width} ${isDark}`;
}

export function Chart(props: Props) {
  const {title, file, x, xTitle, series, format = number, formatX = shortDay} = props;
  const place = useRef<HTMLDivElement>(null);
  const plot = useRef<UPlot | null>(null);
  const surroundings = useSurroundings(place);
  const [hidden, setHidden] = useState<ReadonlySet<string>>(new Set());
  const [cursor, setCursor] = useState<number | null>(null);
  const shown = JSON.stringify([x, series, props.marks, [...hidden]]);

  useEffect(() => {
    const width = Number.parseInt(surroundings, 10);
    if (!place.current || width < 50) return undefined;
    const data = [x, ...series.map((each) => each.values)] as unknown as UPlot.AlignedData;
    plot.current = new UPlot(optionsOf(props, width, hidden, setCursor), data, place.current);
    return () => {
      plot.current?.destroy();
      plot.current = null;
    };
  }, [surroundings, shown]);

  const turn = (label: string) => {
    const next = new Set(hidden);
    if (!next.delete(label)) next.add(label);
    setHidden(next);
  };
  const move = (event: KeyboardEvent) => {
    const step = event.key === "ArrowLeft" ? -1 : event.key === "ArrowRight" ? 1 : 0;
    if (step === 0 || !plot.current || x.length === 0) return;
    event.preventDefault();
    const index = Math.min(x.length - 1, Math.max(0, (cursor ?? (step < 0 ? x.length : -1)) + step));
    plot.current.setCursor({left: plot.current.valToPos(x[index]!, "x"), top: 10});
  };
  const names = series.map((_, index) => `value${index}`);
  const rows = x.map((at, row) =>
    Object.fromEntries([
      ["x", props.formatX ? at : dayText(at / DAY)],
      ...series.map((each, index) => [names[index]!, each.values[row] ?? null]),
    ]),
  );
  const label = cursor === null || x[cursor] === undefined ? null : formatX(x[cursor]);
  return (
    <figure class="chart">
      <figcaption>
        <span class="title">{title}</span>
        <span class="at">{label}</span>
      </figcaption>
      <ul class="legend">
        {series.map((each, index) => (
          <li key={each.label}>
            <button type="button" aria-pressed={!hidden.has(each.label)} onClick={() => turn(each.label)}>
              <span class="swatch" style={{background: `var(${colorOf(each, index)})`}} />
              <bdi>{each.label === "" ? "none" : each.label}</bdi>
              {cursor !== null && <strong> {format(each.values[cursor] ?? null)}</strong>}
            </button>
          </li>
        ))}
      </ul>
      <div
        class="plot"
        ref={place}
        tabIndex={0}
        role="img"
        onKeyDown={move}
        aria-label={`${title}: a chart; its numbers are in the table below. The arrow keys read it point by point.`}
      />
      <p class="unseen" aria-live="polite">
        {label !== null &&
          `${label}: ${series.map((each) => `${each.label} ${format(each.values[cursor!] ?? null)}`).join(", ")}`}
      </p>
      <details>
        <summary>The numbers as a table</summary>
        <DataTable
          caption={title}
          file={file}
          rows={rows}
          columns={[
            {
              name: "x",
              title: xTitle,
              show: (value) => (typeof value === "string" ? day(value) : formatX(value as number)),
            },
            ...series.map((each, index) => ({
              name: names[index]!,
              title: each.label,
              show: (value: unknown) => format(value as number | null),
            })),
          ]}
        />
      </details>
    </figure>
  );
}
