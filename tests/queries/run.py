#!/usr/bin/env python3
"""Runs query files through the survey command and checks the answers.

    run.py --survey build/default/bin/survey tests/queries/*.queries docs/language.md

Each file is either a query file (*.queries) or a Markdown page whose
examples are checked (*.md). Queries go through the real command with
--json, in as few processes as possible; every answer is compared with the
expectation written beside its query. Failures are printed with the file and
line of the query; the exit status is 0 when every query gave what was
expected.

Query files
-----------
Blank lines and lines starting with // are ignored. A case starts with
"query:" (or "generate:") and collects the lines that follow it:

    query: TEXT          the query, the rest of the line as it stands
    generate: EXPR       the query is the value of a Python expression made of
                         literals and operators only, e.g. "(" * 10000 + "1";
                         a bytes value (b"...") gives bytes that need not be UTF-8
    expect: TEXT         the next value prints as TEXT (the whole text)
    type: TYPE           the value of the expect line above has type TYPE
    expect-match: RE     the next value's text matches the regular expression RE
    expect-count: N      the query gives N values in all
    error: KIND          after its values, the query stops with an error of this
                         kind, as the command names it ("no value", ...)
    position: N          ... at this byte offset of the query
    message: TEXT        ... and the error's message contains TEXT (repeatable)
    env: NAME=VALUE      the case runs with NAME set to VALUE (repeatable)
    timeout: SECONDS     the case runs with --timeout SECONDS
    interrupt: SECONDS   the case runs alone and the command gets SIGINT after
                         SECONDS; the command must then answer a next query

Without "error:" the query must end without an error. Lines "env: NAME=VALUE"
before the first case set the environment of every case of the file. The
command never inherits the environment of the runner: it gets exactly TZ=UTC
and the variables the file names, in their order (the sanitizers' settings pass
through, after them).

Markdown pages
--------------
Fenced blocks with the info string "query" hold examples: a line
"survey> QUERY" is a query, and the lines up to the next query are its
answer as the command prints it, one value per line. A line
"error: KIND" or "error: KIND: TEXT" says that the query stops with an error
of that kind; TEXT may elide parts of the message with "...", and the parts
that remain must appear in it in order. Fenced blocks with the info string
"environment" hold NAME=VALUE lines: the environment of all the examples of
the page, in that order (with TZ=UTC first unless they set TZ).
"""

import argparse
import ast
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

ERROR_KINDS = {
    "syntax error", "unknown phrase", "no such property", "no value",
    "more than one value", "type error", "not available", "message",
    "interrupted",
}

# Variables that the sanitizer builds read; they pass through to the command.
PASSED_THROUGH = ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "MSAN_OPTIONS")

# How long one process of the command may take before it counts as hung.
PROCESS_LIMIT = 120


class FormatError(Exception):
    pass


class Case:
    def __init__(self, path, line, query):
        self.path = path
        self.line = line
        self.query = query
        self.values = []          # (kind, text, type): kind "text" or "match"
        self.count = None
        self.error = None
        self.position = None
        self.messages = []        # fragments that must appear in order
        self.env = {}
        self.timeout = None
        self.interrupt = None

    def where(self):
        return "%s:%d" % (self.path, self.line)

    def has_expectation(self):
        return bool(self.values) or self.count is not None or self.error is not None


def evaluate_literal_expression(text, where):
    """The value of a Python expression of literals and operators."""
    tree = ast.parse(text, mode="eval")
    allowed = (ast.Expression, ast.Constant, ast.BinOp, ast.UnaryOp, ast.Add, ast.Mult,
               ast.Sub, ast.USub, ast.Tuple, ast.List)
    for node in ast.walk(tree):
        if not isinstance(node, allowed):
            raise FormatError("%s: generate: only literals and + - * are allowed" % where)
    value = eval(compile(tree, where, "eval"), {"__builtins__": {}}, {})
    if not isinstance(value, (str, bytes)):
        raise FormatError("%s: generate: the expression must give a string or bytes" % where)
    return value


def parse_env(text, where):
    name, equals, value = text.partition("=")
    if not equals or not name:
        raise FormatError("%s: expected NAME=VALUE" % where)
    return name, value


def read_query_file(path):
    cases = []
    file_env = {}
    case = None
    with open(path, encoding="utf-8") as stream:
        lines = stream.read().split("\n")
    for number, raw in enumerate(lines, 1):
        where = "%s:%d" % (path, number)
        line = raw.rstrip("\r")
        stripped = line.strip()
        if not stripped or stripped.startswith("//"):
            continue
        key, colon, rest = line.partition(":")
        if not colon:
            raise FormatError("%s: expected KEY: VALUE" % where)
        key = key.strip()
        # The text after "key: ", as it stands (one separating space dropped).
        value = rest[1:] if rest.startswith(" ") else rest
        if key in ("query", "generate"):
            if case is not None and not case.has_expectation():
                raise FormatError("%s: the query has no expectation" % case.where())
            query = value if key == "query" else evaluate_literal_expression(value, where)
            case = Case(path, number, query)
            cases.append(case)
            continue
        if key == "env" and case is None:
            name, text = parse_env(value, where)
            file_env[name] = text
            continue
        if case is None:
            raise FormatError("%s: %s before any query" % (where, key))
        if key == "expect":
            case.values.append(["text", value, None])
        elif key == "expect-match":
            case.values.append(["match", value, None])
        elif key == "type":
            if not case.values or case.values[-1][2] is not None:
                raise FormatError("%s: type: needs an expect line of its own above" % where)
            case.values[-1][2] = value
        elif key == "expect-count":
            case.count = int(value)
        elif key == "error":
            if value not in ERROR_KINDS:
                raise FormatError("%s: unknown error kind %r" % (where, value))
            case.error = value
        elif key == "position":
            case.position = int(value)
        elif key == "message":
            case.messages.append([value])
        elif key == "env":
            name, text = parse_env(value, where)
            case.env[name] = text
        elif key == "timeout":
            case.timeout = value.strip()
        elif key == "interrupt":
            case.interrupt = float(value)
        else:
            raise FormatError("%s: unknown key %r" % (where, key))
    if case is not None and not case.has_expectation():
        raise FormatError("%s: the query has no expectation" % case.where())
    for each in cases:
        each.env = dict(file_env, **each.env)
    return cases


def read_markdown(path):
    """The examples of a Markdown page: ```query blocks."""
    cases = []
    env = {}
    with open(path, encoding="utf-8") as stream:
        lines = stream.read().split("\n")
    # The page's environment blocks hold the environment of all its examples.
    fence = None
    for number, line in enumerate(lines, 1):
        if fence is None:
            match = re.match(r"^(`{3,})(\S*)\s*$", line)
            if match:
                fence = (match.group(1), match.group(2))
        elif line.strip() == fence[0]:
            fence = None
        elif fence[1] == "environment" and line.strip():
            name, text = parse_env(line.strip(), "%s:%d" % (path, number))
            env[name] = text
    fence = None
    case = None
    for number, line in enumerate(lines, 1):
        where = "%s:%d" % (path, number)
        if fence is None:
            match = re.match(r"^(`{3,})(\S*)\s*$", line)
            if match:
                fence = (match.group(1), match.group(2))
            continue
        if line.strip() == fence[0]:
            if fence[1] == "query" and case is not None and not case.has_expectation():
                # An answer of nothing at all is written as an empty block.
                case.count = 0
            fence = None
            case = None
            continue
        if fence[1] != "query":
            continue
        if line.startswith("survey> "):
            if case is not None and not case.has_expectation():
                case.count = 0
            case = Case(path, number, line[len("survey> "):])
            case.env = dict(env)
            cases.append(case)
            continue
        if case is None:
            raise FormatError("%s: an answer line before any \"survey> \" line" % where)
        if case.error is not None:
            raise FormatError("%s: nothing can follow an error line" % where)
        match = re.match(r"^error: ([a-z ]+?)(?:: (.*))?$", line)
        if match and match.group(1) in ERROR_KINDS:
            case.error = match.group(1)
            if match.group(2):
                case.messages.append([part for part in match.group(2).split("...")])
            continue
        case.values.append(["text", line, None])
    if fence is not None:
        raise FormatError("%s: a fenced block is not closed" % path)
    return cases


def query_bytes(query):
    return query if isinstance(query, bytes) else query.encode("utf-8")


def needs_eval_option(query):
    """Whether a query cannot stand as one line of a query file."""
    if isinstance(query, bytes):
        return False
    stripped = query.strip(" \t\r")
    return "\n" in query or "\r" in query or not stripped or stripped.startswith("//")


def base_environment(env):
    """The whole environment of the command: TZ=UTC first unless the case
    sets TZ itself, then the case's variables in their order."""
    result = {} if "TZ" in env else {"TZ": "UTC"}
    result.update(env)
    for name in PASSED_THROUGH:
        if name in os.environ:
            result[name] = os.environ[name]
    return result


_client_folder = None


def client_folder():
    """A scratch client folder for this run, so that the command never makes
    or reads one in the runner's home; removed when the runner ends."""
    global _client_folder
    if _client_folder is None:
        import atexit
        import shutil
        _client_folder = tempfile.mkdtemp(prefix="survey-client-")
        atexit.register(shutil.rmtree, _client_folder, True)
    return _client_folder


def run_group(survey, extra, cases, interrupt=None):
    """Runs cases in one process; the JSON answers in order, and a problem."""
    env = base_environment(cases[0].env)
    args = [survey, "--json", "--client", client_folder()] + extra
    query_file = None
    if interrupt is not None:
        # The interrupted query, then one that must still be answered.
        args += ["-e", cases[0].query, "-e", "1"]
    elif any(needs_eval_option(case.query) for case in cases):
        for case in cases:
            if "\0" in case.query:
                raise FormatError("%s: a query with a NUL byte must be alone in its group"
                                  % case.where())
            args += ["-e", case.query]
    else:
        query_file = tempfile.NamedTemporaryFile("wb", suffix=".query", delete=False)
        with query_file:
            for case in cases:
                if b"\n" in query_bytes(case.query):
                    raise FormatError("%s: a query given as bytes cannot hold a line break"
                                      % case.where())
                query_file.write(query_bytes(case.query) + b"\n")
        args += ["-f", query_file.name]
    try:
        process = subprocess.Popen(args, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env=env)
        if interrupt is not None:
            time.sleep(interrupt)
            process.send_signal(signal.SIGINT)
        try:
            out, err = process.communicate(timeout=PROCESS_LIMIT)
        except subprocess.TimeoutExpired:
            process.kill()
            out, err = process.communicate()
            return [], "the command did not finish within %d seconds" % PROCESS_LIMIT
    finally:
        if query_file is not None:
            os.unlink(query_file.name)
    answers = []
    # One object a line; split on line feeds only, since a value may hold
    # other characters that end lines elsewhere (U+2028, form feeds).
    for line in out.decode("utf-8", "replace").split("\n"):
        if not line:
            continue
        try:
            answers.append(json.loads(line))
        except ValueError:
            return answers, "the command printed a line that is not JSON: %r" % line[:200]
    problem = None
    if process.returncode < 0:
        problem = "the command died of signal %d; stderr: %s" % (
            -process.returncode, err.decode("utf-8", "replace")[-2000:])
    elif process.returncode not in (0, 1):
        problem = "the command exited with status %d; stderr: %s" % (
            process.returncode, err.decode("utf-8", "replace")[-2000:])
    expected = len(cases) + (1 if interrupt is not None else 0)
    if problem is None and len(answers) != expected:
        problem = "the command gave %d answers for %d queries" % (len(answers), expected)
    return answers, problem


def shorten(text, limit=300):
    return text if len(text) <= limit else text[:limit] + "... (%d bytes)" % len(text)


def check(case, answer):
    """The differences between an answer and its case's expectations."""
    problems = []
    values = answer.get("values", [])
    error = answer.get("error")
    if case.values:
        if len(values) != len(case.values):
            problems.append("expected %d values, got %d" % (len(case.values), len(values)))
        for k, (kind, text, type_name) in enumerate(case.values[:len(values)]):
            got = values[k]
            if kind == "text" and got["text"] != text:
                problems.append("value %d: expected %r, got %r" % (k, text, shorten(got["text"])))
            if kind == "match" and not re.fullmatch(text, got["text"], re.S):
                problems.append("value %d: %r does not match %r" % (k, shorten(got["text"]), text))
            if type_name is not None and got["type"] != type_name:
                problems.append("value %d: expected type %r, got %r" % (k, type_name, got["type"]))
    if case.count is not None and len(values) != case.count:
        problems.append("expected %d values, got %d" % (case.count, len(values)))
    if not case.values and case.count is None and values:
        problems.append("expected no values, got %d: %r" % (
            len(values), shorten(", ".join(v["text"] for v in values[:5]))))
    if case.error is None:
        if error is not None:
            problems.append("unexpected error: %s: %s" % (error["kind"], shorten(error["message"])))
        return problems
    if error is None:
        problems.append("expected the error %r, got none" % case.error)
        return problems
    if error["kind"] != case.error:
        problems.append("expected the error %r, got %r: %s" % (
            case.error, error["kind"], shorten(error["message"])))
    if case.position is not None and error["position"] != case.position:
        problems.append("expected the error at %d, got %d" % (case.position, error["position"]))
    message = error["message"]
    for fragments in case.messages:
        at = 0
        for fragment in fragments:
            found = message.find(fragment.strip(), at) if fragment.strip() else at
            if found < 0:
                problems.append("the message %r lacks %r" % (shorten(message), fragment.strip()))
                break
            at = found + len(fragment.strip())
    return problems


def group_key(case):
    alone = isinstance(case.query, bytes) or "\0" in case.query
    return (tuple(sorted(case.env.items())), case.timeout, alone, needs_eval_option(case.query))


def run_cases(survey, cases):
    """Runs the cases and returns the failures: (case, [problems])."""
    failures = []
    groups = {}
    order = []
    for case in cases:
        if case.interrupt is not None:
            order.append(("alone", [case]))
            continue
        key = group_key(case)
        if key[2]:
            order.append(("alone", [case]))
            continue
        if key not in groups:
            groups[key] = []
            order.append(("group", groups[key]))
        groups[key].append(case)
    for _, members in order:
        first = members[0]
        extra = ["--timeout", first.timeout] if first.timeout else []
        answers, problem = run_group(survey, extra, members, first.interrupt)
        if first.interrupt is not None and not problem:
            follow = answers[1]
            if follow.get("error") or [v["text"] for v in follow["values"]] != ["1"]:
                problem = "after the interruption the command did not answer the next query"
        for index, case in enumerate(members):
            if index >= len(answers):
                # The command stopped before this query: the problem is its.
                failures.append((case, [problem or "no answer"]))
                problem = None
                continue
            answer = answers[index]
            # Bytes that are not UTF-8 come back replaced; such a query
            # cannot be compared.
            if (isinstance(case.query, str) and answer.get("query") != case.query
                    and "\ufffd" not in answer.get("query", "")):
                failures.append((case, ["the answer is for another query: %r"
                                        % shorten(answer.get("query", ""))]))
                continue
            problems = check(case, answer)
            if problems:
                failures.append((case, problems))
        if problem:
            failures.append((members[-1], [problem]))
    return failures


def write_corpus(cases, folder):
    os.makedirs(folder, exist_ok=True)
    for index, case in enumerate(cases):
        data = query_bytes(case.query)
        if len(data) > 4096:
            continue
        with open(os.path.join(folder, "query-%04d" % index), "wb") as stream:
            stream.write(data)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--survey", help="the survey command to run")
    parser.add_argument("--corpus", metavar="FOLDER",
                        help="write each query to a file of FOLDER instead of running them")
    parser.add_argument("files", nargs="+", help="query files (*.queries) and pages (*.md)")
    options = parser.parse_args()
    cases = []
    try:
        for path in options.files:
            if path.endswith(".md"):
                cases += read_markdown(path)
            else:
                cases += read_query_file(path)
    except (FormatError, SyntaxError, ValueError) as error:
        print("error: %s" % error, file=sys.stderr)
        return 2
    if options.corpus:
        write_corpus(cases, options.corpus)
        return 0
    if not options.survey:
        parser.error("--survey is needed to run queries")
    failures = run_cases(options.survey, cases)
    for case, problems in failures:
        query = case.query if isinstance(case.query, str) else repr(case.query)
        print("FAIL %s: %s" % (case.where(), shorten(query, 200)))
        for problem in problems:
            print("    %s" % problem)
    print("%d queries, %d passed, %d failed" % (len(cases), len(cases) - len(failures),
                                                len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
