"""The sheet as an assistive program sees it: read and worked from outside, through the accessibility bus."""
import os
import sys
import unittest

from accessible_desktop import AccessibleDesktop
from desktop import TASKLANE, wait_for


class SheetAccessibility(AccessibleDesktop):
    def listen(self, kind):
        """A list that grows by (role, name) with each event of a kind that tells of something's beginning."""
        self.find("dialog", "Tasklane")  # a sheet that is only starting may never learn who listens
        heard = []
        def hear(event):
            try:
                if event.detail1:
                    heard.append((event.source.get_role_name(), event.source.get_name()))
            except self.glib.GError:  # it went away before it was asked
                pass
        listener = self.atspi.EventListener.new(hear)
        listener.register(kind)
        self.addCleanup(listener.deregister, kind)
        return heard

    def hears(self, heard, *last):
        """Waits until the last of what is heard is this, with nothing after it."""
        def pump():
            while self.glib.MainContext.default().iteration(False):
                pass
            return heard[-len(last):] == list(last)
        try:
            wait_for("what is heard", pump)
        finally:
            self.assertEqual(heard[-len(last):], list(last))
        self.find("dialog", "Tasklane")  # its answer comes after all that it told before
        self.assertTrue(pump(), heard)

    def test_a_project_is_chosen_and_saved(self):
        self.desktop.publish(["Home", "Work"], ["Phone"])
        program = self.desktop.share("--title", "Buy milk")
        self.find("dialog", "Tasklane")
        self.sees("push button", "Save", "ENABLED")
        self.find("push button", "Cancel")
        self.find("heading", "Tasklane")
        self.sees("text", "Title", "FOCUSED")
        self.find("list item", "Context")
        self.do(self.find("list item", "Notes"))
        self.find("text", "Notes")
        self.do(self.find("push button", "Back, Tasklane"))
        self.do(self.find("list item", "Project"))
        self.find("heading", "Project")
        self.find("push button", "None")
        self.sees("list item", "Work", description="Folder", index=1, siblings=2)
        self.do(self.find("list item", "Work"))
        self.find("list item", "Project, Work")
        self.do(self.find("push button", "Save"))
        wait_for("the sheet to close", lambda: program.poll() is not None)
        self.assertEqual(program.returncode, 0)
        (action,) = self.desktop.queue()
        self.assertEqual(action["info"]["projectName"], "Work")

    def test_what_a_search_has_left_and_every_row_reached_are_heard_once(self):
        self.desktop.publish(["Home", "Work", "Homework"])
        program = self.desktop.share("--title", "Buy milk")
        focused, shown = self.listen("object:state-changed:focused"), self.listen("object:state-changed:showing")
        steps = (("Tab", "Notes"), ("Tab", "Project"), ("Return", "Home"), ("k", "Search"), ("Down", "Work"),
                 ("Down", "Homework"), ("Return", "Project, Homework"))
        for key, name in steps:
            self.desktop.keys(key)
            self.hears(focused, ("text" if key == "k" else "list item", name))
        rows = [name for role, name in focused if role == "list item"]
        self.assertEqual(rows, [name for key, name in steps if key != "k"])
        self.assertEqual([name for role, name in shown if role == "notification"], ["2 projects"])
        roles = self.see("everything", lambda: [element.get_role_name() for element in self.elements()])
        self.assertNotIn("notification", roles)
        self.desktop.keys("Escape")
        wait_for("the sheet to close", lambda: program.poll() is not None)

    def test_a_row_out_of_sight_has_its_place_and_can_be_chosen(self):
        self.desktop.publish([f"P{i}" for i in range(1000)])
        program = self.desktop.share("--title", "Buy milk")
        self.do(self.find("list item", "Project"))
        self.sees("list item", "P0", index=0, siblings=1000)
        far = self.see("the row", lambda: self.find("list item", "P0").get_parent().get_child_at_index(900))
        self.assertEqual((far.get_name(), far.get_role_name(), far.get_index_in_parent()), ("P900", "list item", 900))
        self.do(far)
        self.find("list item", "Project, P900")
        self.do(self.find("push button", "Cancel"))
        wait_for("the sheet to close", lambda: program.poll() is not None)

    def test_the_process_that_waits_for_the_next_sheet_is_not_on_the_bus(self):
        self.desktop.environment.pop("TASKLANE_STANDBY")
        self.addCleanup(self.desktop.environment.update, TASKLANE_STANDBY="0")
        waiting = self.desktop.start([os.path.dirname(TASKLANE) + "/PlugIns/Share.appex/share", "--standby"])
        wait_for("the process that waits to go", lambda: waiting.poll() is not None)
        self.assertEqual(waiting.returncode, 0)

    def test_an_option_says_whether_it_is_selected_and_whether_it_can_be_taken(self):
        program = self.desktop.start([os.path.join(os.path.dirname(TASKLANE), "gallery"), "--show", "picker"])
        self.find("heading", "Recent")
        kinds = ("SELECTED", "ENABLED", "SENSITIVE")
        for name, expected in (("Garden", [False, True, True]), ("Kitchen renovation, Selected", [True, True, True]),
                               ("Tax return", [False, False, False])):
            self.see(f"{name} {expected}", lambda: [
                self.find("list item", name).get_state_set().contains(getattr(self.atspi.StateType, kind))
                for kind in kinds] == expected)
        self.do(self.find("list item", "Tax return"))
        self.find("list item", "Tax return, Selected")
        program.terminate()
        program.wait()

    def test_the_menu_of_an_editor_speaks_the_persons_language(self):
        self.desktop.environment["LANG"] = "de_DE.UTF-8"
        self.addCleanup(self.desktop.environment.update, LANG="C.UTF-8")
        program = self.desktop.share("--title", "Milch kaufen")
        focused = self.listen("object:state-changed:focused")
        def windows():
            return set(self.desktop.output(["xdotool", "search", "--onlyvisible", "--name", ".*"]).split())
        before = windows()
        self.desktop.click(100, 70, button=3)
        wait_for("the menu", lambda: windows() - before)  # until it is there, keys are the text's
        self.desktop.keys("Up")
        self.hears(focused, ("menu item", "Alles auswählen\tStrg+A"))
        self.desktop.keys("Escape")
        self.do(self.find("push button", "Abbrechen"))
        wait_for("the sheet to close", lambda: program.poll() is not None)


if __name__ == "__main__":
    sys.exit(unittest.main())
