"""axe-core finds nothing in what only the viewer has, light and dark, wide and narrow. AXE is the path of axe.min.js."""
from support import ROOT, resize, run, scheme
from test_axe import AxeChecks
from test_viewer import EXPORTED, ROUND, ViewerTest, made, with_lost_characters


class Viewer(AxeChecks, ViewerTest):
    def everywhere(self, act):
        for width in 1400, 360:
            resize(self.driver, width, 900)
            for dark in False, True:
                scheme(self.driver, dark)
                with self.subTest(width=width, dark=dark):
                    self.start()
                    act()

    def check_dialogs(self):
        for label in "Save as", "Repair":
            self.open_dialog(label)
            self.until(lambda: self.all("dialog.job fieldset"))
            self.check(label)
            self.press_button("Close")

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
            self.check_dialogs()
        self.everywhere(act)

    def test_two_files_and_their_dialogs(self):
        lost, archive = with_lost_characters(), made("archive.zip", b"PK\x03\x04" + bytes(100))

        def act():
            self.shown(lost, EXPORTED, archive)
            self.until(lambda: self.all("dialog.job[open] .problem"))
            self.check("not shown")
            self.press_button("Close")
            self.tab("brought")
            self.check("brought")
            self.check_dialogs()
        self.everywhere(act)

    def test_several_files(self):
        def act():
            self.shown(ROUND, ROOT / "samples/tags.txt", ROOT / "samples/round-broken.txt")
            self.check("several")
        self.everywhere(act)


if __name__ == "__main__":
    run()
