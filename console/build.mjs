// Bundles src/ into dist/: index.html and the files that it names, whose names hold a hash of what is in them, so that a
// browser may keep those for good. Relative addresses only: the page may lie behind any prefix.
import {build} from "esbuild";
import {mkdir, readFile, rm, writeFile} from "node:fs/promises";
import {basename} from "node:path";

await rm("dist", {recursive: true, force: true});
const {metafile} = await build({
  entryPoints: {console: "src/main.tsx", icon: "src/icon.svg"},
  outdir: "dist",
  entryNames: "[name]-[hash]",
  bundle: true,
  minify: true,
  format: "esm",
  target: ["es2022"],
  jsx: "automatic",
  jsxImportSource: "preact",
  loader: {".svg": "copy"},
  legalComments: "none",
  preserveSymlinks: true, // a build elsewhere has a link to src/ next to its packages
  metafile: true,
  logLevel: "warning",
});

const made = Object.keys(metafile.outputs).map((path) => basename(path));
const named = (ending) => made.find((name) => name.endsWith(ending));
const page = (await readFile("src/index.html", "utf8"))
  .replace("{script}", named(".js"))
  .replace("{style}", named(".css"))
  .replace("{icon}", named(".svg"));
await mkdir("dist", {recursive: true});
await writeFile("dist/index.html", page);
