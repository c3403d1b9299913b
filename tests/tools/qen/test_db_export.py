"""A store that goes through a folder of files comes back equal."""

import json
import os
import shutil

from db_support import DEVICE, OTHER_DEVICE, StoreTest, every_five_minutes, number_of
from support import MEASUREMENT, document, signal_of
from trend_support import CONFIG, DAY, START, TREND, trend_document


class Export(StoreTest):
    def fill(self):
        self.init("--settings", "1h:6/h,1d:24/d")
        self.init(device=OTHER_DEVICE)
        for i in range(3):
            self.write_signal("in/m%d" % i, [i, 7], measurement=number_of(i), time=START + i)
        self.write_trend("in/t", every_five_minutes(300))
        self.write_trend("open", every_five_minutes(3, START + 3 * DAY), trend=number_of(30))
        self.write("v.csv", "time,value\n1969-12-31T23:59:59.999999Z,-0.1\n2026-11-20T00:00:00Z,nan\n2026-11-20T00:00:01Z,inf\n")
        self.run_tool("db", "put", "in", "--device", str(DEVICE), "--values", "v.csv", "--config", str(CONFIG), "--bookmark", "-5",
                      "--value", str(number_of(50)))
        self.run_tool("db", "put", "open.qtr", "--open", "--base-uuid", str(number_of(40)), "--device", str(DEVICE))
        self.run_tool("db", "put", "in/m1.qts", "--device", str(OTHER_DEVICE))
        self.run_tool("db", "retain", "--apply", "--now", str(START + 2 * DAY))
        # What no file tells.
        self.change("UPDATE measurement SET measurement_id = 4294967295, config_id = 2, job_id = 3, config_flag = 1, saved_by_alarm = 1 "
                    "WHERE measurement_uuid = ?", number_of(0).bytes)
        self.change("UPDATE trend SET value_id = 5, trend_flag = 1, base_id = 6")
        self.change("UPDATE measurement SET data = x'00', details = x'' WHERE measurement_uuid = ?", number_of(2).bytes)

    def test_an_import_is_equal(self):
        self.fill()
        before = self.contents()
        done = self.run_tool("db", "export", "backup")
        # Each measurement and trend, the values and the bookmarks of one configuration each, and how far it was thinned.
        rows = len(before["measurement"]) - 1 + len(before["trend"]) + 3
        self.assertEqual("device %s -> backup/%s: %d rows\ndevice %s -> backup/%s: 1 row\n"
                         % (DEVICE, DEVICE, rows, OTHER_DEVICE, OTHER_DEVICE), done.err)
        self.assertEqual(before, self.contents())
        done = self.run_tool("db", "import", "backup", "--db", "sqlite:copy.db")
        self.assertEqual("backup/%s -> device %s: %d rows\nbackup/%s -> device %s: 1 row\n"
                         % (DEVICE, DEVICE, rows, OTHER_DEVICE, OTHER_DEVICE), done.err)
        self.assertEqual(before, self.contents("copy.db"))
        self.assertEqual(1, len(before["retention"]))
        self.run_tool("db", "import", "backup", "--db", "sqlite:copy.db")  # again
        self.assertEqual(before, self.contents("copy.db"))
        later = ("--apply", "--now", str(START + 20 * DAY), "--device", str(DEVICE))
        self.run_tool("db", "retain", *later)
        self.run_tool("db", "retain", "--db", "sqlite:copy.db", *later)
        self.assertEqual(self.entries(), self.entries(store="copy.db"))

    def test_the_folder_holds_files_as_they_are(self):
        self.fill()
        self.run_tool("db", "export", "backup", "--device", str(DEVICE))
        folder = "backup/%s/" % DEVICE
        self.assertEqual([str(DEVICE)], self.names("backup"))
        self.assertEqual(["bookmarks", "device.xml", "measurements", "rows.jsonl", "trends", "values"], self.names(folder))
        for i in range(2):
            data = self.read("in/m%d.qts" % i)
            self.assertEqual((data, document(data)), (self.read("%smeasurements/%s.qts" % (folder, number_of(i))),
                                                      self.read("%smeasurements/%s.xml" % (folder, number_of(i)))))
        self.assertEqual(b"\0", self.read("%smeasurements/%s.qts" % (folder, number_of(2))))
        self.assertNotIn("%s.xml" % number_of(2), self.names(folder + "measurements"))
        self.assertEqual((self.read("open.qtr"), self.read("open.xml")),
                         (self.read("%strends/%s.qtr" % (folder, number_of(30))), self.read("%strends/%s.xml" % (folder, number_of(30)))))
        self.assertEqual(b"time,value\n1969-12-31T23:59:59.999999Z,-0.1\n2026-11-20T00:00:00.000000Z,nan\n2026-11-20T00:00:01.000000Z,inf\n",
                         self.read("%svalues/%s.csv" % (folder, CONFIG)))
        self.assertEqual(b"time\n1969-12-31T23:59:59.999995Z\n", self.read("%sbookmarks/%s.csv" % (folder, number_of(50))))
        self.run_tool("db", "import", "backup/%s" % DEVICE, "--db", "sqlite:one.db")
        self.assertEqual([(DEVICE.bytes,)], self.rows("SELECT device_uuid FROM device", store="one.db"))

    def test_what_exists_is_not_replaced_without_force(self):
        self.fill()
        self.run_tool("db", "export", "backup")
        self.fails(5, "backup/%s/rows.jsonl not written: the file exists, --force replaces it" % DEVICE, "db", "export", "backup")
        self.run_tool("db", "export", "backup", "--force")

    def test_a_ledger_is_not_taken_where_there_are_other_trends(self):
        self.fill()
        self.run_tool("db", "export", "backup")
        self.init("--settings", "1h:6/h,1d:24/d", store="other.db")
        self.write_trend("late", every_five_minutes(30, START + DAY), trend=number_of(60))
        self.run_tool("db", "put", "late.qtr", "--db", "sqlite:other.db")
        self.run_tool("db", "import", "backup", "--db", "sqlite:other.db")
        self.assertEqual([(None,)], self.rows("SELECT anchor FROM retention", store="other.db"))

    def test_bad_rows_are_left_out(self):
        self.fill()
        self.run_tool("db", "export", "backup")
        rows = "backup/%s/rows.jsonl" % DEVICE
        os.remove(self.path("backup/%s/measurements/%s.qts" % (DEVICE, number_of(0))))
        lines = self.read(rows).splitlines()
        place = next(i for i, line in enumerate(lines) if str(number_of(0)) in line.decode())
        self.write(rows, b"\n".join(lines + [b'{"kind":"other"}', b"no JSON", b'{"kind":"trend"}']) + b"\n")
        done = self.run_tool("db", "import", "backup", "--db", "sqlite:copy.db", code=4)
        n = len(lines)
        self.assertEqual(["qen: %s: line %d: backup/%s/measurements/%s.qts cannot be opened: No such file or directory"
                          % (rows, place + 1, DEVICE, number_of(0)),
                          'qen: %s: line %d: is of an unknown kind, "other"' % (rows, n + 1),
                          "qen: %s: line %d: is no row of a store" % (rows, n + 2), "qen: %s: line %d: is no row of a store" % (rows, n + 3)],
                         done.err.splitlines()[:4])
        expected = [row for row in self.contents()["measurement"] if repr(number_of(0).bytes) not in row]
        self.assertEqual(expected, self.contents("copy.db")["measurement"])

    def test_what_is_no_export_is_refused(self):
        os.mkdir(self.path("empty"))
        self.fails(3, "empty: holds no rows.jsonl, nor does a folder in it: no export is whole", "db", "import", "empty")
        self.fails(3, "none: cannot be listed: No such file or directory", "db", "import", "none")
        self.assertEqual(["empty"], self.names())
        for text, message in (("", "rows.jsonl is empty"), ("{}\n", "rows.jsonl does not begin as an export does"),
                              ('{"schema":"qen.db-export/2"}\n', 'rows.jsonl has the schema "qen.db-export/2", not qen.db-export/1')):
            self.write("odd/rows.jsonl", text)
            self.fails(3, "odd: " + message, "db", "import", "odd")
