import {render} from "preact";
import {App} from "./app";
import "./style.css";

const place = document.getElementById("console");
if (place) {
  place.replaceChildren(); // "loading"
  render(<App />, place);
}
