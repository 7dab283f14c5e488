"""Findings and diagnosis, compared with `tramo check --format json`."""
import collections
import re
import time

from support import PageTest, SAMPLES, checked, report, run, sample

ROUNDS = [path for path in SAMPLES if path.name.startswith("round")]


class Findings(PageTest):
    def show_all(self):
        self.js("""for (let more; (more = [...document.querySelectorAll('.more')].find((one) => !one.hidden)); ) more.click()""")

    def listed(self):
        """Returns line, rule and field of each finding in the view."""
        self.show_all()
        return self.js("""
            return [...document.querySelectorAll('.f-group:not([data-rule=""])')].flatMap((group) => [...group.querySelectorAll('.f-item')].map((item) => [
                +(item.querySelector('.f-where b').textContent.match(/\\d[\\d,]*/)?.[0].replaceAll(',', '') ?? 0), group.dataset.rule, item.querySelector('.f-say > b')?.textContent ?? '']))""")

    def check(self, path):
        findings, whole, summary = checked(path)
        self.open(report(path), "findings")
        key = lambda one: (one.get("line", 0), one["rule"], one.get("field", ""))
        listed = collections.Counter(map(tuple, self.listed()))
        every = collections.Counter(map(key, checked(path, "--each")[0]))
        self.assertEqual({}, listed - every, "findings that the check does not have")
        self.assertEqual({}, collections.Counter(map(key, findings)) - listed, "findings that the page does not have")
        explained = {line for one in whole for line in one.get("examples", [])}
        left = every - listed  # what the diagnosis explains need not be listed
        self.assertLessEqual(sum(left.values()), sum(one.get("count", 1) for one in whole) if whole else 0)
        if all(one.get("count", 1) <= 3 for one in whole):
            self.assertLessEqual({line for line, _, _ in left}, explained)
        shown = self.texts('.f-group[data-rule=""] .f-item code')
        self.assertEqual([one["rule"] for one in whole], shown)
        for one, item in zip(whole, self.texts('.f-group[data-rule=""] .f-item')):
            if "help" in one:
                self.assertIn(one["help"], item)
        for one in findings[:40]:
            why = one["message"].split(": ", 1)[1] if one.get("field") and one["message"].startswith(one["field"] + ": ") else one["message"]
            self.assertTrue(self.js("return document.querySelector('.f-list').textContent.includes(arguments[0])", re.sub(r" \[\w+( 0x\w+)?\]", "", why).split("; the format reports")[0]), why)
        return findings, whole, summary

    def test_findings_of_each_sample_are_those_of_the_check(self):
        for path in ROUNDS:
            with self.subTest(path.name):
                self.check(path)

    def test_findings_of_a_generated_round_with_errors(self):
        findings, _, summary = self.check(sample("--meters", 300, "--returned", "--faults", 0.1))
        self.assertLess(50, len(findings))
        self.open(report(sample("--meters", 300, "--returned", "--faults", 0.1)))
        self.assertIn(str(summary["errors"]), self.text(".verdict"))

    def test_the_diagnosis_comes_first_and_is_in_the_overview(self):
        path = next(path for path in ROUNDS if "damaged" in path.name)
        _, whole, _ = checked(path)
        self.assertTrue(whole)
        self.open(report(path), "findings")
        self.assertEqual("", self.js("return document.querySelector('.f-group').dataset.rule"))
        self.tab("overview")
        self.assertIn(whole[0]["message"].split(" [")[0], self.text(".verdict"))

    def test_severity_search_and_rules(self):
        path = next(path for path in ROUNDS if "broken" in path.name)
        _, _, summary = checked(path)
        self.open(report(path), "findings")
        for severity in "error", "warning":
            self.click(f"[data-severity={severity}]")
            self.assertIn(str(summary[severity + "s"]), self.text(".shown"))
        self.click("[data-severity='']")
        self.one(".search").send_keys("latitude")
        time.sleep(0.4)
        self.settle()
        self.show_all()
        self.assertTrue(all("latitude" in text for text in self.texts(".f-item")))
        self.one(".search").clear()
        self.one(".search").send_keys("no such finding")
        time.sleep(0.4)
        self.settle()
        self.assertIn("No finding matches", self.text(".f-list"))

    def test_a_rule_in_the_list_leads_to_its_findings(self):
        self.open(report(next(path for path in ROUNDS if "broken" in path.name)), "findings")
        last = self.all(".f-nav button")[-1]
        last.click()
        self.settle()
        group = self.js("return document.activeElement.closest('.f-group').dataset.rule")
        self.assertEqual(self.js("return [...document.querySelectorAll('.f-group')].at(-1).dataset.rule"), group)

    def test_the_line_is_shown_with_its_marked_columns(self):
        path = next(path for path in ROUNDS if "broken" in path.name)
        findings, _, _ = checked(path)
        self.open(report(path), "findings")
        one = next(one for one in findings if one.get("found") and one["rule"] == "ParseDate")
        item = "document.querySelector('[data-rule=ParseDate] .f-item')"
        self.js(f"{item}.scrollIntoView()")
        self.until(lambda: self.js(f"return {item}.querySelector('.raw')"))
        line = path.read_bytes().decode("cp1252").split("\r\n")[one["line"] - 1]
        self.assertEqual(line[one["column"] - 1:one["endColumn"] - 1].replace(" ", "·"), self.js(f"return {item}.querySelector('.hit').textContent"))

    def test_a_finding_leads_to_its_meter(self):
        self.open(report(next(path for path in ROUNDS if "broken" in path.name)), "findings")
        serial = self.text(".f-item .link")
        self.click(".f-item .link")
        self.assertEqual(serial, self.text(".detail h2"))
        self.assertTrue(self.all(".d-finds li"))

    def test_a_sound_round_has_no_findings(self):
        self.open(report(next(path for path in ROUNDS if path.name == "round-returned.txt")), "findings")
        self.assertIn("No errors or warnings", self.text(".allclear"))


if __name__ == "__main__":
    run()
