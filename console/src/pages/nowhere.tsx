// Where an address leads that names no page.
import {addressElsewhere, useView} from "../address";

export function Nowhere() {
  const view = useView();
  return (
    <p>
      There is no page “<bdi>{view.page}</bdi>”. The first one is the{" "}
      <a href={addressElsewhere(view, "overview")}>Overview</a>.
    </p>
  );
}
