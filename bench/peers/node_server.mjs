// The same rows behind Node's http and better-sqlite3, as JSON.
//
//   node node_server.mjs FILE…
//
// Prints its port on the loopback, and serves until it is ended. POST /PROJECT/OPERATION, where
// PROJECT is the number of a file; bodies are those of korvane's operations. `raw` has JSON.

import http from "node:http";

import Database from "better-sqlite3";

const LETTERS = ["a", "b", "c", "d", "e", "f", "r"];
// Column of the table, and where in a bar its value is.
const COLUMNS = [
  ...["rev_id", "comment", "member", "mark", "submark", "mark_suffix", "mark_prefix", "material_id",
    "member_multiplier", "bars_per_member", "total_bars", "total_length", "bar_diameter",
    "standard_bend_diameter", "hook_bend_diameter", "shape_code"].map((name) => [name, name]),
  ...LETTERS.map((letter) => [letter.toUpperCase(), `parameters_exact?.${letter}`]),
  ...LETTERS.map((letter) => [`${letter.toUpperCase()}_rounded`, `parameters_rounded?.${letter}`]),
  ["bartype_name", "bar_type_name"],
  ["bartype_mass_per_length", "bar_type_mass_per_length"],
];
// Written out, as one would by hand: a loop over names takes the engine longer.
const valuesOf = new Function(
  "bar", `return [${COLUMNS.map(([, place]) => `bar.${place} ?? null`)}]`);

class Project {
  constructor(filename) {
    const database = new Database(filename);
    const columns = [...COLUMNS.map(([column]) => column), "raw"];
    this.sheet = database.prepare("select uid, raw from sheet where id = ?").raw();
    this.materials = database.prepare("select id, uid, raw from material").raw();
    this.add = database.prepare(
      `insert into rebar (${columns}) values (${columns.map(() => "?")})`);
    this.bars = database.prepare("select raw from rebar where rev_id = ?").pluck();
    this.clear = database.prepare("delete from rebar where rev_id = ?");
    this.addAll = database.transaction((bars) => {
      for (const bar of bars) this.add.run(...valuesOf(bar), JSON.stringify(bar));
    });
  }

  get_sheet({ id }) {
    const [uid, raw] = this.sheet.get(id);
    return { ...JSON.parse(raw), id, uid };
  }

  list_materials() {
    return { items: this.materials.all().map(([id, uid, raw]) => ({ ...JSON.parse(raw), id, uid })) };
  }

  add_rebar({ items }) {
    this.addAll(items);
    return {};
  }

  get_rebars({ id }) {
    return { items: this.bars.all(id).map((raw) => JSON.parse(raw)) };
  }

  clear_for_revision({ id }) {
    this.clear.run(id);
    return {};
  }
}

const projects = process.argv.slice(2).map((filename) => new Project(filename));

const server = http.createServer((request, response) => {
  const pieces = [];
  request.on("data", (piece) => pieces.push(piece));
  request.on("end", () => {
    const [, project, operation] = request.url.split("/");
    let status = 200;
    let reply;
    try {
      reply = projects[project][operation](JSON.parse(Buffer.concat(pieces)));
    } catch (failure) {
      status = 500;
      reply = { detail: failure.message };
    }
    const body = Buffer.from(JSON.stringify(reply));
    response.writeHead(status, { "Content-Type": "application/json", "Content-Length": body.length });
    response.end(body);
  });
});
server.keepAliveTimeout = 0;
server.listen(0, "127.0.0.1", () => console.log(server.address().port));
