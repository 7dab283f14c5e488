"""Each language has all words, and the page speaks the language of the browser or of the report."""
import re

from support import PageTest, ROOT, report, run, sample

FILE = ("--meters", 60, "--returned")


class Texts(PageTest):
    def words(self, language):
        source = (ROOT / "web" / f"texts_{language}.js").read_text()
        body = re.sub(r"^export const \w+ = ", "return ", source, count=1, flags=re.M)
        return self.js("""
            const flat = (o, at = '') => Object.entries(o).flatMap(([k, v]) => typeof v === 'string' ? [[at + k, v]] : flat(v, at + k + '.'));
            return flat((() => {""" + body + "})())")

    def test_french_has_the_words_of_english(self):
        english, french = dict(self.words("en")), dict(self.words("fr"))
        self.assertEqual(sorted(english), sorted(french))
        for key, text in english.items():
            self.assertEqual(sorted(re.findall(r"\{\w+\}", text)), sorted(re.findall(r"\{\w+\}", french[key])), key)
        same = [key for key, text in english.items() if french[key] == text and re.search(r"[a-z]{3}", text)]
        self.assertLess(len(same), 45, same)

    def test_every_word_is_used(self):
        sources = "".join(path.read_text() for path in (ROOT / "web").glob("**/*.js") if not path.name.startswith("texts_"))
        for key, _ in self.words("en"):
            name = re.sub(r"1$", "", key.split(".")[-1])
            self.assertRegex(sources, rf"\b{name}\b", f"{key} is not used")

    def test_the_language_of_the_report_comes_first(self):
        self.open(report(sample(*FILE), "--lang", "fr"))
        self.assertEqual("fr", self.js("return document.documentElement.lang"))
        self.assertIn("Vue d’ensemble", self.text(".tabs"))
        self.assertFalse("undefined" in self.text("#app"), "a word is missing")


class French(PageTest):
    options = {"language": "fr-FR"}

    def test_the_browser_chooses(self):
        self.open(report(sample("--meters", 2000, "--returned")))
        self.assertEqual("fr", self.js("return document.documentElement.lang"))
        self.assertIn("Compteurs", self.text(".tabs"))
        self.assertRegex(self.text(".big"), r"\d+,\d")
        self.open(report(sample(*FILE), "--lang", "en"))
        self.assertEqual("en", self.js("return document.documentElement.lang"))


class Other(PageTest):
    options = {"language": "ja-JP"}

    def test_an_unknown_language_gets_english(self):
        self.open(report(sample(*FILE)))
        self.assertEqual("en", self.js("return document.documentElement.lang"))


if __name__ == "__main__":
    run()
