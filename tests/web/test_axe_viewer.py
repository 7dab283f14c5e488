"""axe-core finds nothing in what only the viewer has, light and dark, wide and narrow. AXE is the path of axe.min.js."""
from support import ROOT, resize, run, scheme
from test_axe import AxeChecks
from test_viewer import ViewerTest, made


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


if __name__ == "__main__":
    run()
