#!/usr/bin/python3
"""Reads the running program through AT-SPI, as a screen reader does.

Selects tree rows by clicking them (and opens the last one's dialog), then lists every control that takes the focus without a
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


def find_program(name, seconds):
    def program():
        return next((app for app in pyatspi.Registry.getDesktop(0)
                     if app is not None and (app.name or "").lower() == name), None)
    return wait_for(program, seconds, f"'{name}' on the accessibility bus")


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


def has(accessible, state):
    try:
        return accessible.getState().contains(state)
    except Exception:
        return False


def label(accessible):
    return f"{accessible.getRoleName()} '{accessible.name or ''}'"


def click(accessible):
    box = accessible.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    pyatspi.Registry.generateMouseEvent(box.x + box.width // 2, box.y + box.height // 2, "b1c")


def select(program, rows):
    """Clicks the tree rows named by "A/B/C", opening each folder on the way."""
    tree = wait_for(lambda: next((a for a, _ in walk(program) if a.getRoleName() == "tree"),
                                 None), 30, "the tree")
    parts = rows.split("/")
    for depth, part in enumerate(parts):
        row = wait_for(lambda: next((c for c in tree if c is not None and c.name == part), None),
                       10, f"the tree row '{part}'")
        click(row)
        wait_for(lambda: has(row, pyatspi.STATE_SELECTED), 10, f"'{part}' selected")
        if depth < len(parts) - 1:
            pyatspi.Registry.generateKeyboardEvent(KEY_RIGHT, None, pyatspi.KEY_SYM)


def page_figures(program):
    """The shown web page's name, headings and table cells; none while no page has content."""
    for document, _ in walk(program):
        if document.getRoleName() in WEB_ROLES and has(document, pyatspi.STATE_SHOWING):
            roles = [a.getRoleName() for a, _ in walk(document)]
            headings, cells = roles.count("heading"), roles.count("table cell")
            if headings and cells:
                return document.name, headings, cells
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--select", metavar="A/B/C", help="tree rows to click first")
    parser.add_argument("--page", action="store_true",
                        help="the shown page must have headings and table cells")
    parser.add_argument("--open", action="store_true",
                        help="then press Enter on the row, and read the dialog it opens too")
    parser.add_argument("--dump", action="store_true", help="print the whole tree")
    args = parser.parse_args()

    program = find_program("vantorel", 60)
    if args.select:
        select(program, args.select)
    failed = False
    if args.page:
        figures = wait_for(lambda: page_figures(program), 30, "the page's headings and cells",
                           lambda: "pages: " + ", ".join(
                               f"{label(a)} showing={has(a, pyatspi.STATE_SHOWING)} "
                               f"children={a.childCount}" for a, _ in walk(program)
                               if a.getRoleName() in WEB_ROLES))
        print("page '%s': %d headings, %d table cells" % figures)
    if args.open:
        pyatspi.Registry.generateKeyboardEvent(KEY_RETURN, None, pyatspi.KEY_SYM)
        dialog = wait_for(lambda: next((a for a in program if a is not None and
                                        a.getRoleName() == "dialog"), None), 30, "a dialog")
        print(f"dialog '{dialog.name}' open")
    unnamed = []
    for accessible, path in walk(program):
        if args.dump:
            focus = " [focusable]" if has(accessible, pyatspi.STATE_FOCUSABLE) else ""
            print("  " * len(path) + label(accessible) + focus)
        if (has(accessible, pyatspi.STATE_FOCUSABLE) and not (accessible.name or "").strip()
                and accessible.getRoleName() not in DATA_ROLES):
            unnamed.append((accessible, path))
    print(f"focusable elements without a name: {len(unnamed)}")
    for accessible, path in unnamed:
        failed = True
        print(f"  {accessible.getRoleName()} in " + " > ".join(label(p) for p in path[1:]))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
