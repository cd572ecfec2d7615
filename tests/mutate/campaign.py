"""Draws mutants, tries them, and says what became of them."""

import fcntl
import hashlib
import json
import time
from collections import Counter, defaultdict

from mutants import mutants_of
from trees import Failure

COUNTED = ("noticed", "survived")


def all_mutants(repository, folders):
    """Of all sources in these folders, in an order that depends on nothing else."""
    mutants = []
    for folder in sorted(folders):
        for path in sorted((repository / folder).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                mutants += mutants_of(str(path.relative_to(repository)), path.read_text())
    return mutants


def read_reasons(path):
    """By name of a mutant, why nothing can see it: paragraphs of file, line, change, reason."""
    reasons = {}
    lines = [line for line in path.read_text().splitlines() if not line.startswith("#")]
    for paragraph in "\n".join(lines).split("\n\n"):
        parts = [line.strip() for line in paragraph.strip().splitlines()]
        if not parts:
            continue
        if len(parts) < 4:
            raise Failure(f"{path}: expected file, line, change and reason: {parts}")
        reasons[f"{parts[0]}: {parts[1]}: {parts[2]}"] = " ".join(parts[3:])
    return reasons


def _digest(text):
    return hashlib.sha256(text.encode()).hexdigest()[:16]


class Campaign:
    """A draw of mutants by a seed, whose results stay in a file, from which it goes on. Where a source
    was changed since, its mutants are tried anew; the others keep their results and their order."""

    def __init__(self, trees, mutants, reasons, folder, seed, say=print):
        self.trees = trees
        self.reasons = reasons
        self.seed = seed
        self.say = say
        self.draw = sorted(mutants, key=lambda mutant: _digest(f"{seed} {mutant.name}"))
        self.path = folder / f"results-{seed}.jsonl"
        names = defaultdict(list)
        for mutant in mutants:
            names[mutant.file].append(mutant.name)
        self.sources = {file: _digest("\n".join(own)) for file, own in names.items()}
        self.results = {}  # by name of the mutant
        folder.mkdir(parents=True, exist_ok=True)
        self.file = open(self.path, "a+")
        try:
            self._read()
        except BaseException:
            self.file.close()
            raise

    def _read(self):
        try:
            fcntl.flock(self.file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise Failure(f"{self.path} is in use: the same draw is running") from None
        self.file.seek(0)
        whole, end, _ = self.file.read().rpartition("\n")
        self.file.truncate(len(whole + end))  # where the computer stopped in the middle of a line
        for line in whole.splitlines():
            result = json.loads(line)
            if result["source"] == self.sources.get(result["mutant"].split(":")[0]):
                self.results[result["mutant"]] = result

    def run(self, count, again):
        """Tries mutants until so many count; first once more those that survived, if wanted."""
        if again:
            for mutant in self.draw:
                if self._became(mutant) == "survived" and mutant.name not in self.reasons:
                    self._try(mutant, "again")
        counted = 0
        for mutant in self.draw:
            if counted == count:
                break
            if mutant.name not in self.results:
                self._try(mutant, f"{counted + 1}/{count}")
            counted += self._became(mutant) in COUNTED

    def _became(self, mutant):
        return self.results.get(mutant.name, {}).get("became")

    def _try(self, mutant, place):
        begin = time.monotonic()
        became, tests = self.trees.try_mutant(mutant)
        seconds = round(time.monotonic() - begin, 1)
        result = {"source": self.sources[mutant.file], "mutant": mutant.name, "line": mutant.line,
                  "became": became, "tests": tests, "seconds": seconds}
        self.results[mutant.name] = result
        self.file.write(json.dumps(result) + "\n")
        self.file.flush()
        by = f" by {tests[0]}" if became == "noticed" else ""
        what = f"{mutant.file}:{mutant.line}: {mutant.change}"
        self.say(f"{place} {what}: {became}{by} ({seconds} s)")

    def report(self):
        """Says how many were noticed, and which were not; True when there are none of these."""
        tried = [mutant for mutant in self.draw if mutant.name in self.results]
        became = Counter(self._became(mutant) for mutant in tried)
        survivors = [mutant for mutant in tried if self._became(mutant) == "survived"]
        survivors.sort(key=lambda mutant: (mutant.file, mutant.start))
        hidden = [mutant for mutant in survivors if mutant.name in self.reasons]
        left = [mutant for mutant in survivors if mutant.name not in self.reasons]
        for mutant in hidden:
            self._show("cannot be seen", mutant, self.reasons[mutant.name])
        for mutant in left:
            tests = " ".join(self.results[mutant.name]["tests"])
            self._show("survived", mutant, f"passed: {tests or 'no test executes this file'}")
        noticed = became["noticed"]
        drawn = noticed + len(survivors)
        self.say(f"\nseed {self.seed}, drawn {drawn}: noticed {noticed}, survived {len(left)}, "
                 f"cannot be seen {len(hidden)}")
        self.say(f"noticed: {_share(noticed, drawn)}; {_share(noticed, drawn - len(hidden))} of "
                 "what can be seen")
        self.say(f"drawn anew: {became['does not compile']} that do not compile, "
                 f"{became['same code']} that give the same code")
        return not left

    def _show(self, title, mutant, reason):
        where = f"{mutant.file}:{mutant.line}"
        self.say(f"\n{title}: {where}: {mutant.change}\n    {mutant.code}\n    {reason}")


def _share(part, whole):
    return f"{100 * part / whole:.1f} %" if whole else "none"
