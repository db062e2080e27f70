// One of several values, kept in the address under `name`.
import {go, useView} from "../address";

interface Props {
  title: string;
  name: string;
  value: string | undefined;
  values: readonly string[];
}

export function Choice({title, name, value, values}: Props) {
  const view = useView();
  return (
    <label class="choice">
      {title}
      <select value={value} onChange={({currentTarget}) => go(view, {[name]: currentTarget.value})}>
        {values.map((each) => (
          <option key={each}>{each}</option>
        ))}
      </select>
    </label>
  );
}
