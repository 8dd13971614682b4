"""The steps and assertions of the end-to-end tests, mixins for test cases."""
import contextlib

import reference
from prefix import Prefix, restricted_launcher
from program import Workspace, lock_helper, summary, windows_path

class EndToEnd:
    """Each test has a workspace, and in it an empty root to fill and to scan."""

    def setUp(self):
        self.work = Workspace()
        self.addCleanup(self.work.close)
        self.root = self.work.new_folder("petit")
        self.display = windows_path(self.root)

    def file(self, name, contents=b"contenu"):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(contents)
        return path

    def link(self, name, target):
        (self.root / name).hardlink_to(self.root / target)

    def scan(self, *options, root=None, **settings):
        return self.work.run(root or self.display, *options, **settings)

    @contextlib.contextmanager
    def locked(self, *names):
        with lock_helper(self.root / name for name in names) as (helper, said):
            self.assertEqual(said, b"locked")
            yield
            helper.stdin.close()  # releases the files

    def assert_rows(self, run, *rows):
        """The run succeeded with exactly these rows: (group, status, path below the root, size)."""
        lines = [f'{group};{status};"{self.display}\\{path}";{size}' for group, status, path, size
                 in rows]
        self.assertEqual((run.code, run.stderr), (0, b""))
        self.assert_report_lines(run, lines)

    def assert_report_lines(self, run, lines):
        # Line by line first, since that difference is readable; then every byte.
        self.assertEqual(run.report.decode("utf-8-sig").split("\r\n")[1:-1], lines)
        self.assertEqual(run.report,
                         reference.HEADER + "".join(line + "\r\n" for line in lines).encode())

    def assert_summary(self, run, documents, duplicates):
        self.assertEqual(run.after_banner.decode(),
                         summary(documents, duplicates, run.shown_report).decode())

    def assert_reports(self, run, expected):
        """The run succeeded with the report and the summary that the reference expects."""
        self.assertEqual((run.code, run.stderr), (0, b""))
        self.assert_report_lines(run, expected.rows)
        self.assert_summary(run, expected.documents, expected.duplicates)

    def assert_refused(self, run, code, *messages):
        """The run ended with `code` after exactly these messages, without summary or report."""
        said = "".join(message + "\n" for message in messages)
        self.assertEqual((run.code, run.stderr.decode(), run.after_banner, run.reports),
                         (code, said, b"", ()))


class RestrictedPrefix:
    """The tests of a class share a prefix whose programs obey folder permissions."""

    @classmethod
    def setUpClass(cls):
        cls.shared = Workspace()
        cls.addClassCleanup(cls.shared.close)
        cls.prefix = Prefix(cls.shared, launcher=restricted_launcher(cls.shared))
        cls.addClassCleanup(cls.prefix.close)
