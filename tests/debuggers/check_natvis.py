# Run by GDB with the debuggee: evaluates the expressions of the views for Visual Studio, each with an object of its
# class, so that a member which does not exist is found, and compares what the views list with what the objects hold.
import fnmatch
import os
import re
import xml.etree.ElementTree as ElementTree

import gdb

EXPECTED = {
    "array": ['u"one"', 'u"two"'], "pointers": ["5"], "map": ["30", "31"], "table": ['u"found"'],
    "list": ["number = 1", "number = 2"], "tree": ["of 1", "of 0"], "bits": ["1", "2", "70"],
    "letters": ["7 L'\\a'", "97 L'a'", "98 L'b'", "99 L'c'"],
}


def has(kind, name):
    return any(field.name == name or field.is_base_class and has(field.type, name)
               for field in kind.strip_typedefs().fields())


class Evaluation:
    """Expressions as seen from an object, with the arguments of its template and the variables of a view."""

    def __init__(self, value):
        self.value = value
        self.variables = []

    def __call__(self, text):
        text = re.sub(r",(\[.*\])?(s|su|en)?$", "", text.strip())
        text = re.sub(r"\$T(\d)", lambda m: str(self.value.type.template_argument(int(m[1]) - 1)), text)

        def name(match):
            if match[0] in self.variables or match[0] == "i":
                return "$" + match[0]
            return "$view->" + match[0] if has(self.value.type, match[0]) else match[0]

        text = re.sub(r"(?<![\w.>:$])[A-Za-z_]\w*(?!\w*\()", name, text.replace("$i", "i"))
        gdb.set_convenience_variable("view", self.value.address)
        return gdb.parse_and_eval(text.replace("*this", "*$view").replace("nullptr", "0"))


def run(commands, evaluate):
    """The items of a CustomListItems."""
    done = False  # a branch of the If before
    for command in commands:
        if command.tag == "Variable":
            evaluate.variables.append(command.get("Name"))
            gdb.set_convenience_variable(command.get("Name"), evaluate(command.get("InitialValue")))
        elif command.tag == "Exec":
            evaluate(command.text)
        elif command.tag == "Item":
            yield evaluate(command.text)
        elif command.tag == "Loop":
            while evaluate(command.get("Condition")):
                yield from run(command, evaluate)
        elif command.tag == "If" or not done:
            done = command.tag == "Else" or bool(evaluate(command.get("Condition")))
            if done:
                yield from run(command, evaluate)
        else:
            assert command.tag in ("Elseif", "Else"), command.tag


def items(part, value):
    evaluate = Evaluation(value)

    if part.tag == "ArrayItems":
        for i in range(int(evaluate(part.findtext("Size")))):
            yield evaluate(part.findtext("ValuePointer"))[i]
    elif part.tag == "IndexListItems":
        for i in range(int(evaluate(part.findtext("Size")))):
            gdb.set_convenience_variable("i", i)
            yield evaluate(part.findtext("ValueNode"))
    elif part.tag == "LinkedListItems":
        node = evaluate(part.findtext("HeadPointer"))
        while node:
            inner = Evaluation(node.cast(node.dynamic_type).dereference())
            for name in re.findall(r"{(.*?)}", part.find("ValueNode").get("Name", "")):
                inner(name)
            yield inner(part.findtext("ValueNode"))
            node = inner(part.findtext("NextPointer"))
    elif part.tag == "CustomListItems":
        yield from run(part, evaluate)
    else:
        assert part.tag == "Item", part.tag
        evaluate(part.text)


views = ElementTree.parse(os.environ["TARNKIT_NATVIS"]).getroot()
for element in views.iter():
    element.tag = element.tag.rpartition("}")[2]
gdb.execute("set host-charset UTF-8")
gdb.execute("break look")
try:
    gdb.execute("run")
    gdb.execute("up")
except gdb.error as failure:  # a system that lets nobody trace
    print("not traced: %s" % failure)
    gdb.execute("quit 77")
names = [symbol.name for symbol in gdb.selected_frame().block()] + ["message"]
objects = {name: gdb.parse_and_eval(name) for name in names}
listed, wrong = {}, []
for view in views:
    types = [view] + view.findall("AlternativeType")
    patterns = [re.sub(r"<\*.*>", "<*>", each.get("Name")) for each in types]
    shown = [name for name, value in objects.items() for pattern in patterns
             if fnmatch.fnmatchcase(str(value.type.strip_typedefs().unqualified()), pattern)]
    if not shown:
        wrong.append("%s: the program has no such object" % patterns[0])
    for name in shown:
        evaluate = Evaluation(objects[name])
        try:
            for display in view.findall("DisplayString"):
                for expression in re.findall(r"{([^{}]+)}(?!})", display.text.replace("{{", "")):
                    evaluate(expression)
                evaluate(display.get("Condition", "0"))
            evaluate(view.findtext("StringView", "0"))
            found = [item.format_string() for part in view.findall("Expand/*") for item in items(part, objects[name])]
        except gdb.error as failure:
            wrong.append("%s: %s" % (patterns[0], failure))
            continue
        expected = EXPECTED.get(name, [])
        if len(found) != len(expected) or not all(
                item == text if text.isdigit() else text in item for text, item in zip(expected, found)):
            wrong.append("%s: %s lists %s" % (patterns[0], name, found))
print("\n".join(wrong))
gdb.execute("kill")
gdb.execute("quit %d" % (1 if wrong else 0))
