// Lines or bars over days or numbers, with the numbers themselves as a table below, for those who don't see the picture
// and those who take them elsewhere.
import {useEffect, useRef, useState} from "preact/hooks";
import UPlot from "uplot";
import "uplot/dist/uPlot.min.css";
import {dayStart, dayText, today} from "../days";
import {day, number, short, shortDay} from "../format";
import {DataTable} from "./data-table";
import {colorOf, hasNumbers, optionsOf, type Mark, type Series} from "./plot";

interface Props {
  title: string;
  file: string;
  x: readonly number[];
  xTitle: string;
  series: readonly Series[];
  format?: (value: number | null) => string; // of the values
  formatAxis?: (value: number) => string; // of the values along the axis
  axisUnit?: number; // steps along the axis are multiples of it
  formatX?: (value: number) => string; // else x are days, in seconds
  formatXAxis?: (value: number) => string; // along the axis, where there is less room
  marks?: readonly Mark[];
  bars?: boolean;
}

export type {Mark, Series};

const DAY = 86_400; // seconds

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
  const {title, file, x, xTitle, series, format = number, formatAxis = short, formatX = shortDay, marks = []} = props;
  const place = useRef<HTMLDivElement>(null);
  const plot = useRef<UPlot | null>(null);
  const surroundings = useSurroundings(place);
  const [hidden, setHidden] = useState<ReadonlySet<string>>(new Set());
  const [cursor, setCursor] = useState<number | null>(null);
  const shown = JSON.stringify([x, series, marks, [...hidden]]);
  const isDays = props.formatX === undefined;
  const isOpen = isDays && x.at(-1) === dayStart(today());
  const isDrawn = hasNumbers(series);

  useEffect(() => {
    const width = Number.parseInt(surroundings, 10);
    if (!place.current || width < 50 || !isDrawn) return undefined;
    const data = [x, ...series.map((each) => each.values)] as unknown as UPlot.AlignedData;
    const picture = {...props, formatAxis, marks, isOpen};
    plot.current = new UPlot(optionsOf(picture, width, hidden, setCursor), data, place.current);
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
  const at = cursor === null ? undefined : x[cursor];
  const marksAt = (place: number) => marks.filter((mark) => mark.at === place).map((mark) => mark.label);
  const label =
    at === undefined
      ? null
      : [formatX(at) + (isOpen && at === x.at(-1) ? ", so far" : ""), ...marksAt(at)].filter(Boolean).join(" · ");
  const valueOf = (each: Series) => format((cursor === null ? null : each.values[cursor]) ?? null);
  return (
    <figure class="chart">
      <figcaption>
        <span class="title">{title}</span>
        <span class="at">
          {label}
          {label !== null && series.length === 1 && <strong> {valueOf(series[0]!)}</strong>}
        </span>
      </figcaption>
      <ul class="legend">
        {series.length > 1 &&
          series.map((each, index) => (
            <li key={each.label}>
              <button type="button" aria-pressed={!hidden.has(each.label)} onClick={() => turn(each.label)}>
                <span class="swatch" style={{background: `var(${colorOf(each, index)})`}} />
                <bdi>{each.label === "" ? "none" : each.label}</bdi>
                {cursor !== null && <strong> {valueOf(each)}</strong>}
              </button>
            </li>
          ))}
        {isOpen && (
          <li class="open">
            <span class="swatch" /> today isn't over
          </li>
        )}
      </ul>
      {!isDrawn && <p class="note">There is no number to draw in this time.</p>}
      <div
        class={isDrawn ? "plot" : ""}
        ref={place}
        tabIndex={isDrawn ? 0 : undefined}
        role="img"
        onKeyDown={move}
        aria-label={
          isDrawn
            ? `${title}: a chart; its numbers are in the table below. The arrow keys read it point by point.`
            : `${title}: no number to draw.`
        }
      />
      <p class="unseen" aria-live="polite">
        {label !== null && `${label}: ${series.map((each) => `${each.label} ${valueOf(each)}`).join(", ")}`}
      </p>
      <details>
        <summary>The numbers as a table</summary>
        {marks.length > 0 && (
          <p class="note">Marked above: {marks.map((mark) => `${mark.label} (${formatX(mark.at)})`).join(", ")}</p>
        )}
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
