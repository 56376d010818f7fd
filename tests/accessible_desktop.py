"""What is on a desktop as an assistive program sees it, through the accessibility bus."""
import contextlib
import os
import unittest

from desktop import Desktop, wait_for


def children(element):
    """Until it goes away while it is looked at."""
    with contextlib.suppress(Exception):
        for index in range(element.get_child_count()):
            child = element.get_child_at_index(index)
            if child is not None:
                yield child


def descendants(element, depth=0):
    if depth <= 40:
        yield element
        for child in children(element):
            yield from descendants(child, depth + 1)


class AccessibleDesktop(unittest.TestCase):
    """Has a desktop with a bus, and finds and works what is on it by roles and names."""
    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.enterClassContext(Desktop(bus=True))
        os.environ.update(cls.desktop.environment)
        os.environ.pop("NO_AT_BRIDGE", None)
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi, GLib
        cls.atspi, cls.glib = Atspi, GLib

    def elements(self):
        for application in children(self.atspi.get_desktop(0)):
            yield from descendants(application)

    def find(self, role, name):
        def look():
            for element in self.elements():
                with contextlib.suppress(self.glib.GError):  # it goes away at this moment
                    if element.get_role_name() == role and element.get_name() == name:
                        return element
        return self.see(f"a {role} named {name!r}", look)

    def see(self, what, look):
        """Waits until it is so, looking anew where something went away while it was looked at."""
        def attempt():
            self.atspi.get_desktop(0).clear_cache()
            with contextlib.suppress(self.glib.GError, AttributeError):
                return look()
        return wait_for(what, attempt)

    def sees(self, role, name, *states, **details):
        """Waits for something in these states."""
        def is_so(element):
            found = {"description": element.get_description, "index": element.get_index_in_parent,
                     "siblings": lambda: element.get_parent().get_child_count()}
            return (all(element.get_state_set().contains(getattr(self.atspi.StateType, state)) for state in states)
                    and {key: found[key]() for key in details} == details)
        self.see(f"{role} {name!r} {states} {details}", lambda: is_so(self.find(role, name)))

    def do(self, element):
        self.assertGreater(element.get_n_actions(), 0, f"{element.get_name()} can do nothing")
        try:
            element.do_action(0)
        except self.glib.GError as error:
            # What ends the program may do so before it has answered.
            if "disconnected" not in error.message:
                raise
