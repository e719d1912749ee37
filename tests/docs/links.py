"""Follows every link of the documents: to a file, and to a heading in it.

links.py tree SOURCES        the documents of the source tree
links.py installed BUILD     what each component installs, by itself
"""
import os
import re
import subprocess
import sys
import tempfile

# What authors of hosts, and users of the tools, look for in the folder of documents.
NEEDED = {
    "dev": ["address-map.md", "building-for-a-panel.md", "decisions.md", "host-guide.md", "lines.md", "SECURITY.md"],
    "tools": ["address-map.md", "lines.md", "list-files.md", "plan.md", "poll.md", "read-and-write.md",
              "service.md", "simulated-controller.md", "topics.md", "trace.md", "SECURITY.md", "examples/pump-station.toml"],
}
LEFT_OUT = {".git", "build", "shared"}


def files_below(folder, ending):
    found = []
    for place, folders, names in os.walk(folder):
        folders[:] = [name for name in folders if name not in LEFT_OUT]
        found += [os.path.join(place, name) for name in names if name.endswith(ending)]
    return sorted(found)


def without_code(text):
    return re.sub(r"^```.*?^```", "", text, flags=re.DOTALL | re.MULTILINE)


def anchors(document):
    """The names of its headings, as the usual renderers make them."""
    found = set()
    with open(document, encoding="utf-8") as file:
        for heading in re.findall(r"^#+ +(.*?) *$", without_code(file.read()), flags=re.MULTILINE):
            plain = re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
            name, times = plain, 0
            while name in found:
                times += 1
                name = f"{plain}-{times}"
            found.add(name)
    return found


def links(document):
    with open(document, encoding="utf-8") as file:
        text = without_code(file.read())
    text = re.sub(r"`[^`\n]*`", "", text)
    return re.findall(r"\]\(([^)\s]*)\)", text) + re.findall(r"^\[[^\]]+\]: *(\S+)", text, flags=re.MULTILINE)


def dead_links(document, root):
    """Each link whose target does not exist or is outside `root`, and the number of links."""
    dead = []
    followed = 0
    for link in links(document):
        if re.match(r"[a-z]+:", link):
            continue
        followed += 1
        path, _, anchor = link.partition("#")
        target = os.path.normpath(os.path.join(os.path.dirname(document), path)) if path else document
        if not os.path.exists(target) or os.path.relpath(target, root).startswith(".."):
            dead.append(f"{os.path.relpath(document, root)}: {link} is not there")
        elif anchor and anchor not in anchors(target):
            dead.append(f"{os.path.relpath(document, root)}: {link}: no such heading")
    return dead, followed


def judge(root, documents):
    dead, followed = [], 0
    for document in documents:
        more, count = dead_links(document, root)
        dead += more
        followed += count
    return dead, followed


def judge_component(build, component):
    with tempfile.TemporaryDirectory() as prefix:
        subprocess.run([os.environ["CMAKE"], "--install", build, "--component", component, "--prefix", prefix],
                       check=True, stdout=subprocess.DEVNULL)
        folder = os.path.join(prefix, os.environ["DOCUMENTS"])
        missing = [f"{component} does not install {name}" for name in NEEDED[component]
                   if not os.path.exists(os.path.join(folder, name))]
        for page in files_below(os.path.join(prefix, os.environ["MANUALS"]), (".1", ".3")):
            with open(page, encoding="utf-8") as file:
                missing += [f"{os.path.basename(page)} names {name}, which {component} does not install"
                            for name in re.findall(r"[\w-]+\.md", file.read())
                            if not os.path.exists(os.path.join(folder, name))]
        dead, followed = judge(prefix, files_below(prefix, ".md"))
        return missing + dead, followed


def main():
    what, place = sys.argv[1:]
    if what == "tree":
        wrong, followed = judge(place, files_below(place, ".md"))
    else:
        results = [judge_component(place, component) for component in sorted(NEEDED)]
        wrong, followed = sum((result[0] for result in results), []), sum(result[1] for result in results)
    print("\n".join(wrong + [f"{followed} links followed"]))
    return 1 if wrong or followed < 10 else 0


if __name__ == "__main__":
    sys.exit(main())
