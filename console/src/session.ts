// Who is signed in. The cookie that says so is the browser's; no script can read it.
import {createContext} from "preact";
import {Failure, request} from "./api";

export interface Session {
  readonly level: "none" | "reading" | "editing";
  readonly needed: boolean; // the collector has tokens
}

export const SessionContext = createContext<Session>({level: "none", needed: true});

const PATH = "./api/session";

// A collector that knows no sessions answers whom it answers anyway.
export async function session(signal?: AbortSignal): Promise<Session> {
  try {
    return await (await request("get", PATH, signal)).json();
  } catch (failure) {
    if (failure instanceof Failure && failure.status === 404) return {level: "editing", needed: false};
    throw failure;
  }
}

export async function signIn(token: string): Promise<void> {
  await request("post", PATH, undefined, JSON.stringify({token}));
}

export async function signOut(): Promise<void> {
  await request("delete", PATH);
}
