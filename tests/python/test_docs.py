"""The examples of the documentation: they run, and print what is shown."""
import contextlib
import io
import os
import re
import shutil
import unittest

from support import ROOT, SAMPLES, TestCase

try:
    import pandas
except ImportError:
    pandas = None


def agrees(shown, said):
    """Whether the output matches the lines shown, in which "..." stands for any number of lines."""
    if not shown:
        return not said
    if shown[0] == "...":
        return any(agrees(shown[1:], said[i:]) for i in range(len(said) + 1))
    return bool(said) and shown[0] == said[0] and agrees(shown[1:], said[1:])


def lines(text):
    return [line.rstrip() for line in text.splitlines()]


@unittest.skipUnless(pandas, "needs pandas")
class Pages(TestCase):
    def run_page(self, page):
        """Runs the examples of a page in one namespace, in a folder with the samples. Returns how many there are."""
        with open(os.path.join(ROOT, page), encoding="utf-8") as file:
            blocks = re.findall(r"^```(\S*)\n(.*?)^```$", file.read(), re.M | re.S)
        shutil.copytree(SAMPLES, os.path.join(self.folder, "samples"))
        here, names, count = os.getcwd(), {}, 0
        os.chdir(self.folder)
        try:
            for (language, code), (following, shown) in zip(blocks, blocks[1:] + [("", "")]):
                if language != "python":
                    continue
                said = io.StringIO()
                with contextlib.redirect_stdout(said):
                    exec(compile(code, page, "exec"), names)  # the page's own code
                self.assertTrue(agrees(lines(shown if following == "text" else ""), lines(said.getvalue())),
                                f"{code}\nprints\n{said.getvalue()}")
                count += 1
        finally:
            os.chdir(here)
        return count

    def test_python(self):
        try:
            import matplotlib  # noqa: F401
        except ImportError:
            self.skipTest("needs matplotlib")
        self.assertGreater(self.run_page("docs/python.md"), 9)
        with open(os.path.join(self.folder, "consumption.png"), "rb") as file:
            self.assertEqual(file.read(8), b"\x89PNG\r\n\x1a\n")

    def test_parallel(self):
        try:
            import dask.dataframe  # noqa: F401
        except ImportError:
            self.skipTest("needs dask")
        self.assertEqual(self.run_page("docs/parallel.md"), 1)

    def test_readme(self):
        self.assertEqual(self.run_page("README.md"), 1)


class Docstrings(TestCase):
    def test_everything_public_has_one(self):
        import tramostream
        for name in tramostream.__all__:
            thing = getattr(tramostream, name)
            self.assertTrue((thing.__doc__ or "").strip(), name)
            if isinstance(thing, type):
                for member, value in vars(thing).items():
                    if not member.startswith("_") and (callable(value) or isinstance(value, property)):
                        self.assertTrue((value.__doc__ or "").strip(), f"{name}.{member}")

    def test_names_on_the_page_exist(self):
        import tramostream
        with open(os.path.join(ROOT, "docs/python.md"), encoding="utf-8") as file:
            for name in set(re.findall(r"tramostream\.(\w+)", file.read())) - {"dask"}:
                self.assertTrue(hasattr(tramostream, name), name)

    def test_syntax_of_the_oldest_version(self):
        import ast
        folder = os.path.join(ROOT, "python", "tramostream")
        for name in os.listdir(folder):
            if name.endswith((".py", ".pyi")):
                with open(os.path.join(folder, name), encoding="utf-8") as file:
                    ast.parse(file.read(), name, feature_version=(3, 9))


if __name__ == "__main__":
    unittest.main()
