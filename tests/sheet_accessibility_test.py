"""The sheet as an assistive program sees it: read and worked from outside, through the accessibility bus."""
import os
import sys
import unittest

from desktop import Desktop, wait_for


def descendants(element, depth=0):
    if element is None or depth > 40:
        return
    yield element
    for index in range(element.get_child_count()):
        yield from descendants(element.get_child_at_index(index), depth + 1)


class SheetAccessibility(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desktop = Desktop(bus=True).__enter__()
        os.environ.update(cls.desktop.environment)
        os.environ.pop("NO_AT_BRIDGE", None)
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi
        cls.atspi = Atspi

    @classmethod
    def tearDownClass(cls):
        cls.desktop.__exit__()

    def elements(self):
        root = self.atspi.get_desktop(0)
        for index in range(root.get_child_count()):
            application = root.get_child_at_index(index)
            if application is not None:
                yield from descendants(application)

    def find(self, role, name):
        def look():
            self.atspi.get_desktop(0).clear_cache()
            for element in self.elements():
                try:
                    if element.get_role_name() == role and element.get_name() == name:
                        return element
                except Exception:  # the element went away while it was looked at
                    continue
            return None
        return wait_for(f"a {role} named {name!r}", look)

    def do(self, element):
        self.assertGreater(element.get_n_actions(), 0, f"{element.get_name()} can do nothing")
        element.do_action(0)

    def test_a_project_is_chosen_and_saved(self):
        self.desktop.publish(["Home", "Work"], ["Phone"])
        program = self.desktop.share("--title", "Buy milk")
        self.find("dialog", "Tasklane")
        states = self.find("push button", "Save").get_state_set()
        self.assertTrue(states.contains(self.atspi.StateType.ENABLED))
        self.find("push button", "Cancel")
        self.find("list item", "Notes")
        self.find("list item", "Context")
        self.do(self.find("list item", "Project"))
        option = self.find("list item", "Work")
        self.assertEqual(option.get_description(), "Folder")
        self.do(option)
        self.find("list item", "Project, Work")
        self.do(self.find("push button", "Save"))
        wait_for("the sheet to close", lambda: program.poll() is not None)
        self.assertEqual(program.returncode, 0)
        (action,) = self.desktop.queue()
        self.assertEqual(action["info"]["projectName"], "Work")


if __name__ == "__main__":
    sys.exit(unittest.main())
