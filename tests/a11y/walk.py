#!/usr/bin/python3
"""Reads the running program through AT-SPI, as a screen reader does.

Selects tree rows by clicking them and opens their dialogs, reads a report's charts, then lists every control that takes the focus without a
name, and the web page shown with its headings and table cells. Exits 1 when a focusable
control has no name, 3 when what it waited for (the program on the accessibility bus, a row,
the page's headings and table cells, the dialog) never came. --dump prints the whole tree.
"""
import argparse
import sys
import time

import pyatspi

WEB_ROLES = {"document web", "document frame"}
# A blank cell of a table or tree is empty data, not a control without a label.
DATA_ROLES = {"table cell", "list item", "tree item"}
MAX_CHILDREN = 500  # a large view exposes every cell; enough of them to judge it
KEY_RIGHT = 0xFF53
KEY_RETURN = 0xFF0D
KEY_ESCAPE = 0xFF1B


def wait_for(condition, seconds, what, seen=None):
    deadline = time.monotonic() + seconds
    while True:
        found = condition()
        if found:
            return found
        if time.monotonic() > deadline:
            print(f"gave up waiting for {what}" + (f"; {seen()}" if seen else ""))
            sys.exit(3)
        time.sleep(0.2)


def find_program(program_name, seconds):
    def program():
        return next((app for app in pyatspi.Registry.getDesktop(0)
                     if app is not None and name(app).lower() == program_name), None)
    return wait_for(program, seconds, f"'{program_name}' on the accessibility bus")


def walk(accessible, path=()):
    """Every accessible below, depth first, with its ancestors; objects that died are passed."""
    yield accessible, path
    try:
        count = min(accessible.childCount, MAX_CHILDREN)
    except Exception:
        return
    for index in range(count):
        try:
            child = accessible.getChildAtIndex(index)
        except Exception:
            continue
        if child is not None:
            yield from walk(child, path + (accessible,))


# An object may go while it is read (a page being replaced): it reads as nameless and roleless.
def role(accessible):
    try:
        return accessible.getRoleName()
    except Exception:
        return ""


def name(accessible):
    try:
        return accessible.name or ""
    except Exception:
        return ""


def description(accessible):
    try:
        return accessible.description or ""
    except Exception:
        return ""


def has(accessible, state):
    try:
        return accessible.getState().contains(state)
    except Exception:
        return False


def label(accessible):
    return f"{role(accessible)} '{name(accessible)}'"


def click(accessible):
    box = accessible.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    pyatspi.Registry.generateMouseEvent(box.x + box.width // 2, box.y + box.height // 2, "b1c")


def select(program, rows):
    """Clicks the tree rows named by "A/B/C", opening each folder on the way. A folder's rows
    follow it in the tree's list of cells, so each name is looked for after its parent's."""
    tree = wait_for(lambda: next((a for a, _ in walk(program) if role(a) == "tree"),
                                 None), 30, "the tree")
    parts = rows.split("/")
    after = 0
    for depth, part in enumerate(parts):
        def row_of_part(first=after):
            cells = list(tree)
            return next(((index, cell) for index, cell in enumerate(cells)
                         if index >= first and cell is not None and name(cell) == part), None)
        after, row = wait_for(row_of_part, 10, f"the tree row '{part}' of {rows}")
        click(row)
        wait_for(lambda: has(row, pyatspi.STATE_SELECTED), 10, f"'{part}' selected")
        # Right opens a closed folder; on an open one it would move to its first row.
        if depth < len(parts) - 1 and not has(row, pyatspi.STATE_EXPANDED):
            pyatspi.Registry.generateKeyboardEvent(KEY_RIGHT, None, pyatspi.KEY_SYM)
            wait_for(lambda: has(row, pyatspi.STATE_EXPANDED), 10, f"'{part}' open")


def choose_from_menu(program, path):
    """Clicks the menu bar's "Menu/Item" or "Menu/Submenu/Item" as a user does."""
    menu, *items = path.split("/")
    bar = wait_for(lambda: next((a for a, _ in walk(program) if role(a) == "menu bar"), None),
                   10, "the menu bar")
    click(wait_for(lambda: next((a for a in bar if name(a) == menu), None), 10, menu))
    for item in items:
        click(wait_for(lambda: next((a for a, _ in walk(bar) if name(a) == item and
                                     has(a, pyatspi.STATE_SHOWING)), None), 10, path))


def wait_for_dialog(program):
    return wait_for(lambda: next((a for a in program if a is not None and
                                  role(a) in ("dialog", "alert") and
                                  has(a, pyatspi.STATE_SHOWING)), None), 30, "a dialog")


def unnamed_below(accessible, dump):
    """The focusable controls without a name below accessible, each with its ancestors."""
    unnamed = []
    for found, path in walk(accessible):
        if dump:
            focus = " [focusable]" if has(found, pyatspi.STATE_FOCUSABLE) else ""
            print("  " * len(path) + label(found) + focus)
        if (has(found, pyatspi.STATE_FOCUSABLE) and not name(found).strip()
                and role(found) not in DATA_ROLES):
            # In words now: a dialog's objects go when it closes.
            unnamed.append(f"{role(found)} in " +
                           " > ".join(label(p) for p in path))
    return unnamed


def page_figures(program, item):
    """The name, headings and table cells of item's page; none while it has no content."""
    for document, _ in walk(program):
        if (role(document) in WEB_ROLES and has(document, pyatspi.STATE_SHOWING)
                and name(document).startswith(item + " - ")):
            roles = [role(a) for a, _ in walk(document)]
            headings, cells = roles.count("heading"), roles.count("table cell")
            if headings and cells:
                return name(document), headings, cells
    return None


class Step(argparse.Action):
    """Keeps each row option in the order given: the tree is walked in that order."""
    def __call__(self, parser, namespace, values, option_string=None):
        for value in values if isinstance(values, list) else [values]:
            namespace.steps.append((self.dest, value))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.set_defaults(steps=[])
    parser.add_argument("--dialogs", metavar="A/B/C", nargs="+", action=Step,
                        help="tree rows whose dialogs (Enter) are read too")
    parser.add_argument("--menu", metavar="MENU/ITEM", nargs="+", action=Step,
                        help="menu commands whose dialogs are read too")
    parser.add_argument("--report", metavar="A/B/C", action=Step,
                        help="a tree row of a report whose charts must read as their figures")
    parser.add_argument("--page", metavar="A/B/C", action=Step,
                        help="a tree row whose page must show headings and table cells")
    parser.add_argument("--dump", action="store_true", help="print the whole tree")
    args = parser.parse_args()

    program = find_program("vantorel", 60)
    unnamed = []
    for kind, row in args.steps:
        if kind != "menu":
            select(program, row)
        if kind in ("dialogs", "menu"):
            if kind == "menu":
                choose_from_menu(program, row)
            else:
                pyatspi.Registry.generateKeyboardEvent(KEY_RETURN, None, pyatspi.KEY_SYM)
            dialog = wait_for_dialog(program)
            print(f"{row}: dialog '{name(dialog)}'")
            unnamed += unnamed_below(dialog, args.dump)
            pyatspi.Registry.generateKeyboardEvent(KEY_ESCAPE, None, pyatspi.KEY_SYM)
            wait_for(lambda: not has(dialog, pyatspi.STATE_SHOWING), 30, f"{row}'s dialog to close")
        elif kind == "report":
            charts = wait_for(lambda: [description(a) for a, _ in walk(program)
                                       if ": " in description(a)], 30, "the report's charts")
            print("report charts: " + "; ".join(charts))
        else:
            figures = wait_for(lambda: page_figures(program, row.split("/")[-1]), 30,
                               "the page's headings and cells",
                               lambda: "pages: " + ", ".join(
                                   f"{label(a)} showing={has(a, pyatspi.STATE_SHOWING)}"
                                   for a, _ in walk(program) if role(a) in WEB_ROLES))
            print("page '%s': %d headings, %d table cells" % figures)
    for window in program:
        if window is not None and role(window) == "frame":
            unnamed += unnamed_below(window, args.dump)
    print(f"focusable elements without a name: {len(unnamed)}")
    for where in unnamed:
        print(f"  {where}")
    return 1 if unnamed else 0


if __name__ == "__main__":
    sys.exit(main())
