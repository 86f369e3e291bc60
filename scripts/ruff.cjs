// Runs ruff, which comes as WebAssembly, over files: scripts/lint.py says which, and with what options.
//
// usage: node scripts/ruff.cjs PACKAGE      with {options, root, files} as JSON on standard input

const fs = require("fs");
const path = require("path");

const { Workspace, PositionEncoding } = require(process.argv[2]);
const { options, root, files } = JSON.parse(fs.readFileSync(0, "utf8"));
const workspace = new Workspace(options, PositionEncoding.Utf32);

let found = 0;
for (const file of files) {
    for (const { code, message, start_location: at } of workspace.check(fs.readFileSync(path.join(root, file), "utf8"))) {
        console.log(`${file}:${at.row}:${at.column}: ${code ?? "syntax"} ${message}`);
        ++found;
    }
}
process.exit(found ? 1 : 0);
