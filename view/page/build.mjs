// Bundles the page into a folder: node build.mjs OUT. The volume is a bundle of its own, which is loaded when one is shown.
import { build } from "esbuild";
import { copyFileSync, mkdirSync } from "node:fs";
import { join } from "node:path";

const out = process.argv[2] ?? "dist";
mkdirSync(out, { recursive: true });
await build({
  entryPoints: [
    { in: "src/page.ts", out: "page" },
    { in: "src/volume.ts", out: "volume" },
    { in: "page.css", out: "page" },
  ],
  bundle: true,
  minify: true,
  format: "esm",
  target: "es2022",
  outdir: out,
  external: ["./volume.js"],
  legalComments: "eof",
  logLevel: "warning",
});
copyFileSync("index.html", join(out, "index.html"));
