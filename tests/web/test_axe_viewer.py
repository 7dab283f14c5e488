"""axe-core finds nothing in what only the viewer has, light and dark, wide and narrow. AXE is the path of axe.min.js."""
from support import ROOT, resize, run, scheme
from test_axe import AxeChecks
from test_viewer import EXPORTED, ROUND, ViewerTest, made


class Viewer(AxeChecks, ViewerTest):
    def everywhere(self, act):
        for width in 1400, 360:
            resize(self.driver, width, 900)
            for dark in False, True:
                scheme(self.driver, dark)
                with self.subTest(width=width, dark=dark):
                    self.start()
                    act()

    def test_before_a_file_is_opened(self):
        self.everywhere(lambda: self.check("empty"))

    def test_a_file_that_is_none(self):
        path = made("archive.zip", b"PK\x03\x04" + bytes(100))

        def act():
            self.refused(path)
            self.check("refused")
        self.everywhere(act)

    def test_a_file_and_its_dialogs(self):
        def act():
            self.shown(ROOT / "samples/round-damaged.txt")
            self.check("overview")
            for label in "Save as", "Repair":
                self.open_dialog(label)
                if label == "Repair":
                    self.until(lambda: self.all("dialog.job fieldset"))
                self.check(label)
                self.js("document.querySelector('dialog.job[open]').close()")
        self.everywhere(act)

    def test_two_files_and_their_dialogs(self):
        lines = ROUND.read_bytes().split(b"\r\n")
        for at in range(3, 60, 4):
            lines[at] = lines[at][:80] + lines[at][81:]
        lost, archive = made("lost-characters.txt", b"\r\n".join(lines)), made("archive.zip", b"PK\x03\x04" + bytes(100))

        def act():
            self.shown(lost, EXPORTED, archive)
            self.until(lambda: self.all("dialog.job[open] .problem"))
            self.check("not shown")
            self.press_button("Close")
            self.tab("brought")
            self.check("brought")
            for label in "Save as", "Repair":
                self.open_dialog(label)
                if label == "Repair":
                    self.until(lambda: self.all("dialog.job .choice-row"))
                self.check(label)
                self.press_button("Close")
        self.everywhere(act)

    def test_several_files(self):
        def act():
            self.shown(ROUND, ROOT / "samples/tags.txt", ROOT / "samples/round-broken.txt")
            self.check("several")
        self.everywhere(act)


if __name__ == "__main__":
    run()
