// What arrives at the collector, as it arrives. A thousand a second must not stall the page, so what came is handed on a
// few times a second, and only the latest are kept.
import {useEffect, useState} from "preact/hooks";
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
  readonly perSecond: number;
  readonly state: "connecting" | "open" | "away";
}

// A record that broke a rule, or the library's report of a call that did.
export const isTrouble = (arrival: Arrival): boolean => arrival.isRefused || arrival.category === "sdk_error";

const MOST = 200;
const STEP_MS = 250;
const RATE_MS = 5000;
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

export function useLive(looking: Looking, isPaused: boolean): Stream {
  const url = liveUrl(looking);
  const [stream, setStream] = useState<Stream>({
    arrivals: [],
    troubles: [],
    skipped: 0,
    perSecond: 0,
    state: "connecting",
  });
  const [tries, setTries] = useState(0);
  useEffect(() => setStream((before) => ({...before, arrivals: [], troubles: [], skipped: 0})), [url]);
  useEffect(() => {
    if (isPaused) return undefined;
    let waiting: Arrival[] = [];
    let count = 0;
    let skipped = 0;
    let state: Stream["state"] = tries === 0 ? "connecting" : "away";
    let retry: ReturnType<typeof setTimeout> | undefined;
    const times: {at: number; many: number}[] = [];
    const source = new EventSource(url);
    const take = (isRefused: boolean) => (event: MessageEvent<string>) => {
      const id = Number(event.lastEventId) || -++count;
      waiting.push(arrivalOf(event, isRefused, id));
      if (waiting.length > MOST) waiting = waiting.slice(-MOST);
      times.push({at: Date.now(), many: 1});
    };
    source.addEventListener("record", take(false));
    source.addEventListener("refused", take(true));
    source.addEventListener("skipped", (event: MessageEvent<string>) => {
      const many = Number((JSON.parse(event.data) as {records?: number}).records ?? 0);
      skipped += many;
      times.push({at: Date.now(), many});
    });
    source.onopen = () => (state = "open");
    source.onerror = () => {
      state = "away"; // the browser tries again by itself, unless it was answered
      if (source.readyState === EventSource.CLOSED) retry = setTimeout(openAgain, RETRY_MS);
    };
    const openAgain = () =>
      get("/api/games", {})
        .catch(() => {})
        .then(() => setTries(tries + 1)); // who is signed out is sent there
    const timer = setInterval(() => {
      const since = Date.now() - RATE_MS;
      while (times[0] && times[0].at < since) times.shift();
      const perSecond = times.reduce((sum, each) => sum + each.many, 0) / (RATE_MS / 1000);
      const came = waiting.reverse();
      const more = skipped;
      waiting = [];
      skipped = 0;
      setStream((before) =>
        came.length === 0 && more === 0 && before.state === state && before.perSecond === perSecond
          ? before
          : {
              arrivals: came.length === 0 ? before.arrivals : [...came, ...before.arrivals].slice(0, MOST),
              troubles: [...came.filter(isTrouble), ...before.troubles].slice(0, MOST),
              skipped: before.skipped + more,
              perSecond,
              state,
            },
      );
    }, STEP_MS);
    return () => {
      clearInterval(timer);
      clearTimeout(retry);
      source.close();
    };
  }, [url, isPaused, tries]);
  return stream;
}
