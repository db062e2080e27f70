// What arrives at the collector, as it arrives. A thousand a second must not stall the page, so what came is handed on a
// few times a second, and only the latest are kept.
import {useEffect, useRef, useState} from "preact/hooks";
import {get, urlOf} from "./api";

export interface Arrival {
  readonly id: number;
  readonly isRefused: boolean;
  readonly receivedAt: number;
  readonly category: string;
  readonly userId: string;
  readonly sessionId: string;
  readonly platform: string;
  readonly build: string;
  readonly record: unknown; // of a refused one its beginning, as text
  readonly reasons: readonly string[];
}

export interface Stream {
  readonly arrivals: readonly Arrival[]; // the latest first
  readonly troubles: readonly Arrival[]; // of those, also longer ago, what is wrong: what goes well would crowd it out
  readonly skipped: number;
  readonly came: number; // of all that was said to have come, those that were skipped among them
  readonly wrong: number; // of those, what is or may be wrong
  readonly perSecond: number | null; // null: not counted for long enough
  readonly state: "connecting" | "open" | "away";
}

// A record that broke a rule, or the library's report of a call that did.
export const isTrouble = (arrival: Arrival): boolean => arrival.isRefused || arrival.category === "sdk_error";

const MOST = 200;
const STEP_MS = 250;
const RATE_MS = 5000;
const SETTLING_MS = 500; // after the connection: what comes first is what the collector remembers
const RETRY_MS = 3000;

const text = (value: unknown): string => (typeof value === "string" ? value : "");

function arrivalOf(event: MessageEvent<string>, isRefused: boolean, id: number): Arrival {
  const data = JSON.parse(event.data) as Record<string, unknown>;
  return {
    id,
    isRefused,
    receivedAt: typeof data.received_at === "number" ? data.received_at : 0,
    category: text(data.category),
    userId: text(data.user_id),
    sessionId: text(data.session_id),
    platform: text(data.platform),
    build: text(data.build),
    record: data.record,
    reasons: Array.isArray(data.reasons) ? data.reasons.map(String) : [],
  };
}

export interface Looking {
  readonly game: string;
  readonly user_id?: string;
  readonly session_id?: string;
}

export const liveUrl = (looking: Looking): string => urlOf("/api/live", {...looking});

// How many came a second, of late.
class Rate {
  private readonly times: {at: number; many: number}[] = [];
  private since = Infinity;

  begin(): void {
    this.since = Date.now() + SETTLING_MS;
    this.times.length = 0;
  }
  add(many: number): void {
    const at = Date.now();
    if (at >= this.since) this.times.push({at, many});
  }
  perSecond(): number | null {
    const now = Date.now();
    while (this.times[0] && this.times[0].at < now - RATE_MS) this.times.shift();
    const seconds = Math.min(RATE_MS, now - this.since) / 1000;
    if (seconds < 1) return null;
    const many = this.times.reduce((sum, each) => sum + each.many, 0);
    return Math.round((10 * many) / seconds) / 10;
  }
}

const NOTHING: Stream = {
  arrivals: [],
  troubles: [],
  skipped: 0,
  came: 0,
  wrong: 0,
  perSecond: null,
  state: "connecting",
};

// What came, without what a connection before it had brought already.
function withMore(before: Stream, came: readonly Arrival[], skipped: number): Stream {
  const known = new Set(before.arrivals.map(({id}) => id));
  const fresh = came.filter(({id}) => !known.has(id));
  if (fresh.length === 0 && skipped === 0) return before;
  const troubles = fresh.filter(isTrouble);
  return {
    ...before,
    arrivals: [...fresh, ...before.arrivals].slice(0, MOST),
    troubles: [...troubles, ...before.troubles].slice(0, MOST),
    skipped: before.skipped + skipped,
    came: before.came + fresh.length + skipped,
    wrong: before.wrong + troubles.length + skipped,
  };
}

export function useLive(looking: Looking, isPaused: boolean): Stream {
  const url = liveUrl(looking);
  const [stream, setStream] = useState(NOTHING);
  const [tries, setTries] = useState(0);
  useEffect(() => setStream(({came, wrong}) => ({...NOTHING, came, wrong})), [url]);
  useEffect(() => {
    if (isPaused) return undefined;
    let waiting: Arrival[] = [];
    let count = 0;
    let skipped = 0;
    let state: Stream["state"] = tries === 0 ? "connecting" : "away";
    let retry: ReturnType<typeof setTimeout> | undefined;
    const rate = new Rate();
    const source = new EventSource(url);
    const take = (isRefused: boolean) => (event: MessageEvent<string>) => {
      const id = Number(event.lastEventId) || -++count;
      waiting.push(arrivalOf(event, isRefused, id));
      if (waiting.length > MOST) waiting = waiting.slice(-MOST);
      rate.add(1);
    };
    source.addEventListener("record", take(false));
    source.addEventListener("refused", take(true));
    source.addEventListener("skipped", (event: MessageEvent<string>) => {
      const many = Number((JSON.parse(event.data) as {records?: number}).records ?? 0);
      skipped += many;
      rate.add(many);
    });
    source.onopen = () => {
      state = "open";
      rate.begin();
    };
    source.onerror = () => {
      state = "away"; // the browser tries again by itself, unless it was answered
      if (source.readyState === EventSource.CLOSED) retry = setTimeout(openAgain, RETRY_MS);
    };
    const openAgain = () =>
      get("/api/games", {})
        .catch(() => {})
        .then(() => setTries(tries + 1)); // who is signed out is sent there
    const timer = setInterval(() => {
      const perSecond = state === "open" ? rate.perSecond() : null;
      const came = waiting.reverse();
      const more = skipped;
      waiting = [];
      skipped = 0;
      setStream((before) => {
        const after = withMore(before, came, more);
        return after.state === state && after.perSecond === perSecond ? after : {...after, state, perSecond};
      });
    }, STEP_MS);
    return () => {
      clearInterval(timer);
      clearTimeout(retry);
      source.close();
    };
  }, [url, isPaused, tries]);
  return stream;
}

// Follows a count that may go up many times a second: at once, then in steps that are some time apart.
export function useSteps(count: number, stepMs: number): number {
  const [followed, setFollowed] = useState({count, at: 0});
  const latest = useRef(count);
  latest.current = count;
  const isBehind = followed.count !== count;
  useEffect(() => {
    if (!isBehind) return undefined;
    const step = () => setFollowed({count: latest.current, at: Date.now()});
    const timer = setTimeout(step, Math.max(0, followed.at + stepMs - Date.now()));
    return () => clearTimeout(timer);
  }, [isBehind, followed]);
  return followed.count;
}
