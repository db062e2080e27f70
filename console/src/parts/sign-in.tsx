// Who may look: the token of the studio is asked for once, and kept where no script can read it.
import {useEffect, useRef, useState} from "preact/hooks";
import {wordsOf} from "../asked";
import {signIn} from "../session";

export function SignIn({onSignedIn}: {onSignedIn: () => void}) {
  const [token, setToken] = useState("");
  const [state, setState] = useState<{busy?: boolean; failure?: string}>({});
  const field = useRef<HTMLInputElement>(null);
  useEffect(() => {
    document.title = "Sign in · Zorvane";
    field.current?.focus();
  }, []);
  const submit = async (event: Event) => {
    event.preventDefault();
    setState({busy: true});
    try {
      await signIn(token);
      onSignedIn();
    } catch (failure) {
      setState({failure: wordsOf(failure)});
      field.current?.select();
    }
  };
  return (
    <main class="sign-in">
      <h1>Zorvane</h1>
      <p class="question">See your game</p>
      <form onSubmit={submit}>
        <input type="text" autocomplete="username" value="zorvane" readOnly hidden />
        {/* for what keeps passwords */}
        <label>
          Token for reading or for editing
          <input
            ref={field}
            type="password"
            name="token"
            autocomplete="current-password"
            required
            value={token}
            onInput={({currentTarget}) => setToken(currentTarget.value)}
          />
        </label>
        <button type="submit" class="main" disabled={state.busy}>
          {state.busy ? "Signing in" : "Sign in"}
        </button>
        {state.failure !== undefined && (
          <p class="trouble" role="alert">
            <strong>You aren't signed in:</strong> {state.failure}.
          </p>
        )}
      </form>
      <p class="how">Who runs the collector has the tokens: the files of its options --read-token and --edit-token.</p>
    </main>
  );
}
