"""A Pd patch written as Pd saves it: objects and message boxes numbered in
the order they are added, then the cords. Subpatches are patches of their
own, placed inside their parent."""


def escape(text):
    """A message box's text as a .pd file holds it: commas, semicolons and
    dollars escaped."""
    return text.replace("$", "\\$").replace(",", " \\,").replace(";", " \\;").replace("  ", " ")


class Patch:
    def __init__(self, name=None):
        self.name = name  # a subpatch's name ([pd NAME]); None for a file
        self.boxes = []  # (kind, text or Patch)
        self.cords = []

    def _add(self, kind, content):
        self.boxes.append((kind, content))
        return len(self.boxes) - 1

    def obj(self, text):
        return self._add("obj", text)

    def msg(self, text):
        """A message box; "," and ";" separate messages as in Pd's editor."""
        return self._add("msg", text)

    def sub(self, patch):
        return self._add("sub", patch)

    def connect(self, source, outlet, sink, inlet=0):
        self.cords.append((source, outlet, sink, inlet))

    def chain(self, *boxes):
        """Left outlet to left inlet, box after box."""
        for a, b in zip(boxes, boxes[1:]):
            self.connect(a, 0, b, 0)

    def lines(self, x=0, y=0):
        head = f"#N canvas {x} {y} 600 400 {self.name if self.name else 12}"
        out = [head + (" 0;" if self.name else ";")]
        for i, (kind, content) in enumerate(self.boxes):
            px, py = 10 + 200 * (i % 4), 10 + 30 * (i // 4)
            if kind == "sub":
                out += content.lines(px, py)
                out.append(f"#X restore {px} {py} pd {content.name};")
            elif kind == "msg":
                out.append(f"#X msg {px} {py} {escape(content)};")
            else:
                out.append(f"#X obj {px} {py} {content};")
        out += [f"#X connect {a} {o} {b} {i};" for a, o, b, i in self.cords]
        return out

    def text(self):
        return "\n".join(self.lines()) + "\n"
