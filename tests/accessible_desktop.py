"""What is on a desktop as an assistive program sees it, through the accessibility bus."""
import os
import unittest

from desktop import Desktop, wait_for


def descendants(element, depth=0):
    if element is None or depth > 40:
        return
    yield element
    for index in range(element.get_child_count()):
        yield from descendants(element.get_child_at_index(index), depth + 1)


class AccessibleDesktop(unittest.TestCase):
    """Has a desktop with a bus, and finds and works what is on it by roles and names."""
    @classmethod
    def setUpClass(cls):
        cls.desktop = Desktop(bus=True).__enter__()
        os.environ.update(cls.desktop.environment)
        os.environ.pop("NO_AT_BRIDGE", None)
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi, GLib
        cls.atspi, cls.glib = Atspi, GLib

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
        try:
            element.do_action(0)
        except self.glib.GError as error:
            # What ends the program may do so before it has answered.
            if "disconnected" not in error.message:
                raise
