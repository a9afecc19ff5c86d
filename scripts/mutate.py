"""What scripts/mutate.sh runs: takes mutants, builds and tests each, keeps and prints the verdicts."""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import os
import pathlib
import random
import re
import resource
import signal
import subprocess
import sys
import threading
import time

import mutants

ROOT = pathlib.Path(__file__).resolve().parent.parent
KEPT = ROOT / "build/mutate"
TREE = KEPT / "tree"
BUILD = TREE / "build"
SOURCES = ("src/", "libdomainsocket/", "bus/ubusd/")
WORKING, WAITING = 3 * os.cpu_count(), 8 * os.cpu_count()  # how many tests of each kind run beside each other
BUILD_SECONDS = 600
LEAST_SECONDS = 30  # no test hangs before; nor before ten times what it took in the unchanged tree


def is_source(path):
    return path.startswith(SOURCES) and path.endswith((".cpp", ".h"))


# --- The copy of the tree ---


def copy_tree():
    """What is the same stays as it is, so that little is built anew; what a run that was ended left changed is put right."""
    listed = subprocess.check_output(["git", "ls-files", "-z", "-co", "--exclude-standard"], cwd=ROOT, text=True)
    paths = {path for path in listed.split("\0") if path and (ROOT / path).is_file()}
    for path in paths:
        source, copy = ROOT / path, TREE / path
        if not copy.is_file() or copy.read_bytes() != source.read_bytes():
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_bytes(source.read_bytes())
        copy.chmod(source.stat().st_mode)
    for copy in list(TREE.rglob("*")):
        if copy.is_file() and BUILD not in copy.parents and str(copy.relative_to(TREE)) not in paths:
            copy.unlink()
    return sorted(paths)


def digest(paths):
    whole = hashlib.sha256()
    for path in paths:
        whole.update(path.encode() + b"\0" + (TREE / path).read_bytes() + b"\0")
    return whole.hexdigest()[:16]


def ninja(*arguments, limit=None):
    """Status and output."""
    command = ["ninja", "-C", str(BUILD), "--quiet", *arguments]
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, start_new_session=True)
    try:
        output, _ = process.communicate(timeout=limit)
    except subprocess.TimeoutExpired:
        end_group(process)
        return 1, "the time is up"
    return process.returncode, output


def build_tree():
    """Without debugging information: what compiles to the same shall be the same to the byte."""
    subprocess.run(
        ["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_C_COMPILER=gcc", "-DCMAKE_CXX_COMPILER=g++"]
        + ["-DWEXOND_BUS=bundled", "-DWEXOND_DOMAINSOCKET=bundled", "-DWEXOND_TESTS=ON", "-DWEXOND_BENCH=OFF"]
        + ["-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O2"],
        check=True,
        stdout=subprocess.DEVNULL,
    )
    status, output = ninja()
    if status:
        sys.exit(f"The unchanged tree does not build:\n{output}")


# --- What can notice: from the build's own graph, and by name ---


class Test:
    def __init__(self, described):
        properties = {entry["name"]: entry["value"] for entry in described.get("properties", [])}
        self.name = described["name"].split("  #")[0]  # parameters are told behind it
        self.command = described["command"]
        self.program = os.path.relpath(self.command[0], BUILD)
        self.folder = properties.get("WORKING_DIRECTORY", str(BUILD))
        self.environment = dict(entry.split("=", 1) for entry in properties.get("ENVIRONMENT", []))
        self.alone = properties.get("RUN_SERIAL", False)
        self.waits = "COST" in properties  # more than it works
        self.seconds = 0.0
        # As its source names it: without flavour, instance and parameter.
        _, suite, name = f"{self.name}.".split(".", 3)[:3]
        self.written = f"{suite.split('/')[-1]}.{name.split('/')[0]}"


def read_tests():
    """The GoogleTest programs' tests; those that start what is reached are told by the graph."""
    listed = json.loads(subprocess.check_output(["ctest", "--test-dir", BUILD, "--show-only=json-v1"]))
    tests = [Test(entry) for entry in listed["tests"] if "command" in entry]
    return [test for test in tests if test.program.startswith("bin/")]


class Graph:
    """Which objects a source file or a header goes into, and which programs of tests hold or start them."""

    def __init__(self, programs):
        self.objects = collections.defaultdict(set)
        for line in ninja("-t", "deps")[1].splitlines():
            if line[:1].strip():
                compiled = line.split(":")[0]
            elif line.strip() and (path := self.in_tree(line.strip())):
                self.objects[path].add(compiled)
        self.inputs = {program: self.inputs_of(program) for program in programs}
        self.hashes = {compiled: self.hash(compiled) for compiled in set().union(*self.objects.values())}

    @staticmethod
    def in_tree(path):
        path = os.path.normpath(os.path.join(BUILD, path))
        return os.path.relpath(path, TREE) if path.startswith(f"{TREE}/") else None

    @staticmethod
    def inputs_of(program):
        return set(ninja("-t", "inputs", program)[1].splitlines())

    @staticmethod
    def hash(compiled):
        return hashlib.sha256((BUILD / compiled).read_bytes()).hexdigest()

    def product_objects(self, path):
        """Those of the file itself, in whichever target, and those that include it, but for tests and lab."""
        own = f"/{path}.o"
        return sorted(
            compiled
            for compiled in self.objects[path]
            if compiled.endswith(own) or not compiled.startswith(("tests/", "lab/", "fuzz/"))
        )

    def programs_reaching(self, path):
        return {program for program, inputs in self.inputs.items() if inputs & self.objects[path]}


def read_sources_of_tests():
    """Each test's source file, by suite and name."""
    sources = {}
    for source in sorted(TREE.glob("tests/**/*.cpp")):
        for suite, name in re.findall(r"^TEST(?:_[FP])?\(\s*(\w+)\s*,\s*(\w+)", source.read_text(), re.M):
            sources[f"{suite}.{name}"] = source.relative_to(TREE)
    return sources


def nearness(path, test_source):
    """0: the tests named after the file; 1: those of its area; 2: all others that reach it."""
    if test_source is None:
        return 2
    stem, parts = pathlib.Path(path).stem.removesuffix("_records"), pathlib.Path(path).parts
    tested = test_source.stem.removesuffix("_test")
    if tested.startswith(stem) or stem.startswith(tested):
        return 0
    folder = test_source.parts[1]
    families = parts[0] == "src" and parts[1] not in ("core", "events")
    return 1 if folder in parts or folder == parts[0].removeprefix("lib") or (families and folder == "handlers") else 2


class Judges:
    def __init__(self, without):
        self.tests = [test for test in read_tests() if not (without and re.search(without, test.name))]
        self.graph = Graph(sorted({test.program for test in self.tests}))
        self.sources = read_sources_of_tests()
        self.noticed = collections.Counter()  # (file, test): who noticed is asked first the next time

    def of(self, path):
        """Lists of tests, the nearest first."""
        programs = self.graph.programs_reaching(path)
        rings = [[], [], []]
        for test in self.tests:
            if test.program in programs:
                rings[nearness(path, self.sources.get(test.written))].append(test)
        for ring in rings:
            ring.sort(key=lambda test: (-self.noticed[path, test.name], test.alone, test.seconds))
        return [ring for ring in rings if ring]


# --- Running tests ---


def kill_group(process):
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def end_group(process):
    kill_group(process)
    process.wait()


def bound():
    """What a changed program may take of the machine; and no signal is ignored, as it would be in the background."""
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT):
        signal.signal(number, signal.SIG_DFL)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))
    resource.setrlimit(resource.RLIMIT_DATA, (4 << 30, 4 << 30))


class Round:
    """Tests beside each other, to the first that fails twice or hangs."""

    def __init__(self, until=None):
        self.until = until
        self.failed = None
        self.passed = {}
        self.running = set()
        self.lock = threading.Lock()

    def passes(self, test, limit):
        with self.lock:
            if self.failed:
                return True
            process = subprocess.Popen(
                test.command, cwd=test.folder, env={**os.environ, **test.environment}, stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True, preexec_fn=bound,
            )
            self.running.add(process)
        try:
            return process.wait(limit) == 0
        except subprocess.TimeoutExpired:
            return None
        finally:
            end_group(process)
            with self.lock:
                self.running.discard(process)

    def run_one(self, test):
        if self.failed or (self.until and time.monotonic() > self.until):
            return
        limit = max(LEAST_SECONDS, 10 * test.seconds)
        begin = time.monotonic()
        verdict = self.passes(test, limit)
        if verdict is False:
            verdict = self.passes(test, limit)
        with self.lock:
            if self.failed:
                return
            if verdict:
                self.passed[test.name] = time.monotonic() - begin
                return
            self.failed = test, "hangs" if verdict is None else "fails"
            for process in self.running:
                kill_group(process)

    def run(self, tests):
        """The test that failed and how, or None."""
        with concurrent.futures.ThreadPoolExecutor(WAITING) as waiting, concurrent.futures.ThreadPoolExecutor(WORKING) as working:
            for test in tests:
                if not test.alone:
                    (waiting if test.waits else working).submit(self.run_one, test)
        for test in tests:
            if test.alone:
                self.run_one(test)
        return self.failed


# --- Verdicts ---


class Verdicts:
    """One line each. Those that the tests as they are now cannot change are kept."""

    def __init__(self, path, sources, tests, keep_survivors):
        self.path, self.sources, self.tests = path, sources, tests
        self.known = {}
        lines = path.read_text().splitlines() if path.exists() else []
        for entry in map(json.loads, lines):
            if entry["sources"] == sources and (
                entry["verdict"] != "survived" or keep_survivors or entry["tests"] == tests
            ):
                self.known[entry["mutant"]] = entry

    def keep(self, mutant, verdict, by=""):
        entry = {"mutant": mutant, "verdict": verdict, "by": by, "sources": self.sources, "tests": self.tests}
        self.known[mutant] = entry
        with self.path.open("a") as file:
            file.write(json.dumps(entry) + "\n")
        return entry


def judge(mutant, text, judges, minutes_end):
    """Verdict and who noticed; None where the time is up."""
    path = TREE / mutant.path
    graph = judges.graph
    objects = graph.product_objects(mutant.path)
    try:
        path.write_text(mutant.apply(text))
        if ninja(*objects, limit=BUILD_SECONDS)[0]:
            return "does not compile", ""
        if all(graph.hash(compiled) == graph.hashes[compiled] for compiled in objects):
            return "same code", ""
        for tests in judges.of(mutant.path):
            if ninja(*sorted({test.program for test in tests}), limit=BUILD_SECONDS)[0]:
                return "does not compile", ""
            if failed := Round(minutes_end).run(tests):
                judges.noticed[mutant.path, failed[0].name] += 1
                return "noticed", f"{failed[0].name} {failed[1]}"
            if minutes_end and time.monotonic() > minutes_end:
                return None
        return "survived", ""
    finally:
        path.write_text(text)


def show_unchanged_passes(judges, paths, sources):
    """Also measures the tests. What passed once is not run again while sources and program are the same."""
    times = KEPT / "unchanged.json"
    known = json.loads(times.read_text()) if times.exists() else {}
    if known.get("sources") != sources:
        known = {"sources": sources, "programs": {}, "seconds": {}}
    programs = set().union(*(judges.graph.programs_reaching(path) for path in paths))
    current = {program: judges.graph.hash(program) for program in programs}
    changed = {program for program in programs if known["programs"].get(program) not in (None, current[program])}
    for test in judges.tests:
        if test.program in changed:
            known["seconds"].pop(test.name, None)
    known["programs"].update(current)
    asked = [test for test in judges.tests if test.program in programs and test.name not in known["seconds"]]
    print(f"The unchanged tree: {len(asked)} tests", flush=True)
    begin = time.monotonic()
    for test in asked:
        test.seconds = 12.0
    unchanged = Round()
    failed = unchanged.run(asked)
    known["seconds"].update(unchanged.passed)
    times.write_text(json.dumps(known))
    if failed:
        sys.exit(f"The unchanged tree does not pass: {failed[0].name} {failed[1]}")
    for test in judges.tests:
        test.seconds = known["seconds"].get(test.name, 0.0)
    print(f"passes, in {time.monotonic() - begin:.0f} s", flush=True)


def drawn(texts, seed):
    """Endless but for the mutants' number: kinds by turns, of each a place at random, none twice."""
    chance = random.Random(seed)
    places = collections.defaultdict(list)
    for path, text in texts.items():
        for kind, found in mutants.mutants_of(path, text).items():
            places[kind] += found
    for found in places.values():
        chance.shuffle(found)
    while any(places.values()):
        for found in places.values():
            if found:
                yield chance.choice(found.pop())


def print_result(counted):
    survivors = [(name, entry) for name, entry in counted if entry["verdict"] == "survived"]
    print(f"\n{len(counted)} mutants, {len(survivors)} survived", end="")
    print(f": {100 * len(survivors) / len(counted):.1f} %" if counted else "")
    for name, _ in survivors:
        print(f"  {name}")


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutate.sh")
    parser.add_argument("number", metavar="N", type=int)
    parser.add_argument("seed", metavar="SEED", type=int)
    parser.add_argument("--minutes", type=float, help="after which no further mutant is tried")
    parser.add_argument("--keep-survivors", action="store_true", help="do not try them again although tests have changed")
    parser.add_argument("--without", metavar="REGEX", help="tests that are not asked, those that fail on this machine, say")
    parser.add_argument("files", metavar="FILE", nargs="*")
    arguments = parser.parse_args()
    os.chdir(ROOT)

    tree = copy_tree()
    paths = [path for path in tree if is_source(path) and (not arguments.files or path in arguments.files)]
    if not paths:
        parser.error("no such file")
    sources = digest(path for path in tree if is_source(path))
    tests = digest(path for path in tree if path.startswith("tests/"))
    print("Building the unchanged tree", flush=True)
    build_tree()
    judges = Judges(arguments.without)
    show_unchanged_passes(judges, paths, sources)

    end = time.monotonic() + 60 * arguments.minutes if arguments.minutes else None
    verdicts = Verdicts(KEPT / f"{arguments.seed}.jsonl", sources, tests, arguments.keep_survivors)
    texts = {path: (TREE / path).read_text() for path in paths}
    counted = []
    for mutant in drawn(texts, arguments.seed):
        if len(counted) >= arguments.number or (end and time.monotonic() > end):
            break
        text = texts[mutant.path]
        name = f"{mutant.path}:{mutant.line(text)}:{mutant.start}: {mutant.describe(text)}"
        entry = verdicts.known.get(name)
        if not entry:
            begin = time.monotonic()
            verdict = judge(mutant, text, judges, end)
            if not verdict:
                break
            entry = verdicts.keep(name, *verdict)
            print(f"{entry['verdict']:16} {time.monotonic() - begin:4.0f} s  {name}  {entry['by']}", flush=True)
        if entry["verdict"] in ("noticed", "survived"):
            counted.append((name, entry))
    print_result(counted)


if __name__ == "__main__":
    main()
