import unittest

from loaded import script

performance = script("performance")

RESULTS = {
    "date": "2026-01-02",
    "machine": {"cores": 2, "compiler": "g++ 12", "sqlite": "3.40", "protobuf": "3.21"},
    "figures": [
        {"work": "store", "arguments": "lines:10", "korvane": 0.0061, "baseline": 0.005,
         "unit": "s", "ratio": 1.22, "ratio_of_fastest": 1.1, "goal": 1.25, "met": True},
        {"work": "memory", "arguments": "", "korvane": 205.4, "baseline": 1880.0,
         "unit": "B/bar", "ratio": 0.1092, "ratio_of_fastest": 0.1092},
        {"work": "growth: look", "arguments": "file:10", "korvane": 7.019e-08,
         "baseline": 7.019e-08, "unit": "s", "ratio": 1.0, "ratio_of_fastest": 1.0},
    ],
    "wire": {
        "date": "2026-01-04", "rounds": 15,
        "machine": {"cores": 2, "compiler": "g++ 12", "sqlite": "3.40", "grpc": "1.51",
                    "load_before": 0.25, "load_after": 2.0},
        "calls": [
            {"work": "read", "connections": 1, "server": "korvane", "median": 2e-5, "p99": 3e-5,
             "per_second": 45000},
            {"work": "read", "connections": 8, "server": "korvane", "median": 9e-5, "p99": 1e-4,
             "per_second": 90000},
            {"work": "read", "connections": 8, "server": "gRPC", "median": 2e-4, "p99": 4e-4},
        ],
        "figures": [
            {"work": "read", "beside": "gRPC", "korvane": 9e-5, "baseline": 2e-4, "unit": "s",
             "ratio": 0.45, "ratio_of_best": 0.4, "goal": 0.5, "met": True},
            {"work": "reads", "beside": "gRPC", "korvane": 90000, "baseline": 70000,
             "unit": "calls/s", "ratio": 1.286, "ratio_of_best": 1.3, "goal": 1.5, "met": False},
            {"work": "read, JSON", "beside": "Node", "korvane": 9e-5, "baseline": 9e-5,
             "unit": "s", "ratio": 1.0, "ratio_of_best": 1.0},
        ]},
    "commands": {
        "date": "2026-01-03", "bars": 100000, "drawings": 2000, "repetitions": 5,
        "figures": [
            {"work": "sqlite3", "seconds": 0.4, "kilobytes": 15000},
            {"work": "export", "seconds": 0.6, "kilobytes": 30720, "baseline": "sqlite3",
             "ratio": 1.5},
        ]},
}
BEFORE = {"date": "2026-01-02", "figures": [
    {"work": "store", "arguments": "lines:10", "ratio": 1.5, "ratio_of_fastest": 1.4}]}
DOCUMENT = """Words.
<!-- table: machine -->
<!-- /table -->
More.
<!-- table: ratios -->
| old |
<!-- /table -->
<!-- table: growth -->
<!-- /table -->
<!-- table: wire -->
<!-- /table -->
<!-- table: wire-calls -->
<!-- /table -->
<!-- table: commands -->
<!-- /table -->
"""


class Rewritten(unittest.TestCase):
    def test_tables_are_replaced_and_words_kept(self):
        self.assertEqual(performance.rewritten(DOCUMENT, RESULTS, None), """Words.
<!-- table: machine -->
2026-01-02, 2 cores, g++ 12, SQLite 3.40, Protocol Buffers 3.21.
<!-- /table -->
More.
<!-- table: ratios -->
| Work | Arguments | korvane | baseline | ratio | fastest | goal | met |
|---|---|--:|--:|--:|--:|--:|---|
| store | lines:10 | 6.1 ms | 5 ms | 1.220 | 1.100 | 1.25 | yes |
| memory |  | 205.4 B/bar | 1880 B/bar | 0.109 | 0.109 |  |  |
<!-- /table -->
<!-- table: growth -->
| Work | Arguments | Time | Ratio |
|---|---|--:|--:|
| look | file:10 | 70.2 ns | 1.0 |
<!-- /table -->
<!-- table: wire -->
2026-01-04, 2 cores, g++ 12, SQLite 3.40, gRPC 1.51, medians of 15 rounds, load of the machine 0.2 before and 2.0 after.

| Work | Beside | korvane | beside it | ratio | best | goal | met |
|---|---|--:|--:|--:|--:|--:|---|
| read | gRPC | 90 µs | 200 µs | 0.450 | 0.400 | ≤ 0.5 | yes |
| reads | gRPC | 90,000 calls/s | 70,000 calls/s | 1.286 | 1.300 | ≥ 1.5 | no |
| read, JSON | Node | 90 µs | 90 µs | 1.000 | 1.000 |  |  |
<!-- /table -->
<!-- table: wire-calls -->
| Work | Connections | korvane | gRPC |
|---|--:|--:|--:|
| read | 1 | 20 µs / 30 µs, 45,000/s |  |
| read | 8 | 90 µs / 100 µs, 90,000/s | 200 µs / 400 µs |
<!-- /table -->
<!-- table: commands -->
2026-01-03, 100,000 bars in 2,000 drawings, medians of 5.

| Work | Time | Memory | Ratio | to |
|---|--:|--:|--:|---|
| sqlite3 | 400 ms | 14 MiB |  |  |
| export | 600 ms | 30 MiB | 1.50 | sqlite3 |
<!-- /table -->
""")

    def test_a_second_time_changes_nothing(self):
        once = performance.rewritten(DOCUMENT, RESULTS, BEFORE)
        self.assertEqual(performance.rewritten(once, RESULTS, BEFORE), once)

    def test_the_release_before_has_a_column_if_it_ran_on_the_same_day(self):
        same = performance.rewritten(DOCUMENT, RESULTS, BEFORE)
        self.assertIn("| store | lines:10 | 6.1 ms | 5 ms | 1.220 | 1.100 | 1.500 / 1.400 | 1.25 |",
                      same)
        self.assertIn("| memory |  | 205.4 B/bar | 1880 B/bar | 0.109 | 0.109 |  |  |  |", same)
        other = performance.rewritten(DOCUMENT, RESULTS, BEFORE | {"date": "2025-12-31"})
        self.assertEqual(other, performance.rewritten(DOCUMENT, RESULTS, None))

    def test_so_has_the_wire(self):
        before = {"date": "2026-01-04", "figures": [
            {"work": "read", "beside": "gRPC", "ratio": 1.2, "ratio_of_best": 1.1}]}
        same = performance.rewritten(DOCUMENT, RESULTS | {"wire_before": before}, None)
        self.assertIn("| 0.450 | 0.400 | 1.200 / 1.100 | ≤ 0.5 | yes |", same)
        self.assertIn("| 1.000 | 1.000 |  |  |  |", same)
        other = RESULTS | {"wire_before": before | {"date": "2026-01-03"}}
        self.assertEqual(performance.rewritten(DOCUMENT, other, None),
                         performance.rewritten(DOCUMENT, RESULTS, None))

    def test_a_document_without_one_of_the_tables_is_refused(self):
        with self.assertRaisesRegex(ValueError, "has the tables"):
            performance.rewritten(DOCUMENT.replace("growth", "grown"), RESULTS, None)


if __name__ == "__main__":
    unittest.main()
