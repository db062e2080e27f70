// Takes out of the lock file what only names hosts: who funds a package.
import {readFile, writeFile} from "node:fs/promises";

const lock = JSON.parse(await readFile("package-lock.json", "utf8"));
for (const each of Object.values(lock.packages)) delete each.funding;
await writeFile("package-lock.json", `${JSON.stringify(lock, null, 2)}\n`);
