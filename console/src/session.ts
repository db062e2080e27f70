// Who is signed in. The cookie that says so is the browser's; no script can read it.
import {createContext} from "preact";
import {change, get, type Json} from "./api";

export type Session = Json<"/api/session">;

export const SessionContext = createContext<Session>({level: "none", needed: true});

export const session = (signal?: AbortSignal): Promise<Session> => get("/api/session", {}, signal);

export async function signIn(token: string): Promise<void> {
  await change("post", "/api/session", {}, {token});
}

export async function signOut(): Promise<void> {
  await change("delete", "/api/session", {});
}
