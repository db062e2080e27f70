// Asks the collector that the page came from. What can be asked, and how, is typed from docs/api.yaml.
import type {paths} from "../types/api";

// What the description names is there: it says so of answers with a status of 200.
type Given<T> = T extends (infer Item)[] ? Given<Item>[] : T extends object ? {[Name in keyof T]-?: Given<T[Name]>} : T;
type JsonOf<Call> = Call extends {responses: {200: {content: {"application/json": infer Json}}}} ? Given<Json> : never;
type None = Readonly<Record<string, never>>;
type QueryOf<Call> = Call extends {parameters: {query?: infer Query}}
  ? [Exclude<Query, undefined>] extends [never]
    ? None
    : Exclude<Query, undefined>
  : None;

type Method = "get" | "put" | "post" | "delete";
export type Path = keyof paths;
export type Query<At extends Path, By extends Method = "get"> = QueryOf<paths[At][By]>;
export type Json<At extends Path, By extends Method = "get"> = JsonOf<paths[At][By]>;
export type QuestionName = paths["/api/questions/{question}"]["get"]["parameters"]["path"]["question"];

export type Cell = string | number | null;
export interface Table {
  readonly columns: readonly string[];
  readonly rows: readonly (readonly Cell[])[];
  readonly complete: boolean;
}

// Says in words why there is no answer.
export class Failure extends Error {
  constructor(
    readonly status: number,
    message: string,
  ) {
    super(message);
  }
}

type Parameters = Readonly<Record<string, string | number | undefined>>;

// Relative to the page, which may lie behind a prefix.
export function urlOf(path: string, parameters: Parameters = {}): string {
  const given = Object.entries(parameters).filter(([, value]) => value !== undefined);
  const query = given
    .map(([name, value]) => `${encodeURIComponent(name)}=${encodeURIComponent(String(value))}`)
    .join("&");
  return `.${path}${query === "" ? "" : `?${query}`}`;
}

// The collector writes problems as JSON; a proxy before it may not.
async function failureOf(response: Response): Promise<Failure> {
  const text = await response.text();
  try {
    const problem: unknown = JSON.parse(text);
    if (typeof problem === "object" && problem !== null) {
      if ("detail" in problem && typeof problem.detail === "string")
        return new Failure(response.status, problem.detail);
      if ("reasons" in problem && Array.isArray(problem.reasons))
        return new Failure(response.status, problem.reasons.join("; "));
    }
  } catch {
    // not JSON: the status has to do
  }
  return new Failure(response.status, `the answer has status ${response.status} ${response.statusText}`.trim());
}

let signedOut = (): void => {};
export function onSignedOut(callback: () => void): void {
  signedOut = callback;
}

export async function request(method: Method, url: string, signal?: AbortSignal, body?: string): Promise<Response> {
  let response: Response;
  try {
    const headers = body === undefined ? undefined : {"Content-Type": "application/json"};
    response = await fetch(url, {method: method.toUpperCase(), signal, body, headers});
  } catch (failure) {
    if (signal?.aborted) throw failure;
    throw new Failure(0, "the collector gives no answer: it has ended, has too much to do, or the network is away");
  }
  if (response.ok) return response;
  if (response.status === 401 && !url.startsWith("./api/session")) signedOut();
  throw await failureOf(response);
}

export async function get<At extends Path>(path: At, query: Query<At>, signal?: AbortSignal): Promise<Json<At>> {
  return (await request("get", urlOf(path, query as Parameters), signal)).json();
}

// A call that changes something.
export async function change<At extends Path, By extends "put" | "post" | "delete">(
  method: By,
  path: At,
  query: Query<At, By>,
  body?: unknown,
): Promise<Json<At, By>> {
  const text = body === undefined ? undefined : JSON.stringify(body);
  return (await request(method, urlOf(path, query as Parameters), undefined, text)).json();
}

export const questionUrl = (name: string, parameters: Parameters): string =>
  urlOf(`/api/questions/${name}`, parameters);

export async function ask(name: QuestionName, parameters: Parameters, signal?: AbortSignal): Promise<Table> {
  return (await request("get", questionUrl(name, parameters), signal)).json();
}
