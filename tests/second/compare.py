#!/usr/bin/env python3
"""Compares the library with a second implementation of the format on generated lines: valid and malformed ones of every kind,
in several time zones, with fields, errors, console texts, dumps and built lines; and on calls of the codecs.

Exit code 0 if there is no difference.
"""
import argparse
import itertools
import json
import multiprocessing
import os
import random
import resource
import subprocess
import sys
import time
import zoneinfo

import calls
import keylines
import lines
import records
from values import Host
from wire import plain

ZONES = ("Europe/Berlin", "UTC", "America/New_York", "Asia/Kathmandu", "Australia/Lord_Howe", "America/Sao_Paulo", "Pacific/Apia",
         "Africa/Monrovia", "America/Godthab", "Europe/Dublin")
KINDS = tuple(record.model() for record in records.RECORDS) + ("key line", "codec")
AT_ONCE = 1000


def said(host):
    """The messages since the last call."""
    text = [plain(host.narrow), plain(host.wide)]
    host.narrow = host.wide = ""
    return text


def state(model):
    return {"values": plain(model.got()), "shown": plain(model.shown())}


def expected_of_record(host, record, line, changes):
    model = record(host, line)
    answer = {"parse": plain(model.parse_errors), "said": said(host), **state(model), "kept": plain(model.kept)}
    if record.LETTER:
        answer["kind"] = records.kind_of(line)
    for name, value in changes:
        model.set(name, value)
    if changes:
        answer["changed"] = state(model)
    answer["mandatory"] = plain(model.mandatory_errors())
    answer["repeated"] = plain(model.mandatory_errors())
    answer["parseAfterwards"] = plain(model.parse_errors)
    built, errors = model.build()
    answer |= {"line": plain(built), "build": plain(errors), "saidWriting": said(host), "keptAfterwards": plain(model.kept)}
    return answer


def request_of(kind, make):
    """A request, and a function that returns the expected answer of a host."""
    if kind == "codec":
        request, asked = calls.request(make)
        return request, lambda host: calls.expected(host, asked)
    if kind == "key line":
        request, line = keylines.request(make)
        return request, lambda host: keylines.expected(host, line)
    record = next(record for record in records.RECORDS if record.model() == kind)
    request, line, changes = make.record_request(record)
    return request, lambda host: expected_of_record(host, record, line, changes)


def differences(expected, found, path=""):
    """One line for each difference."""
    if isinstance(expected, dict) and isinstance(found, dict):
        for name in list(expected) + [name for name in found if name not in expected]:
            yield from differences(expected.get(name), found.get(name), f"{path}.{name}")
    elif expected != found:
        yield f"    {path[1:]}\n      expected {expected!r}\n      found    {found!r}"


ZONE_FACTS = {}


def compare(task):
    """Sends requests to a driver and compares. Returns the kind, the number of requests, and texts of differences."""
    driver, seed, zone_name, kind, part, count = task
    if zone_name not in ZONE_FACTS:
        ZONE_FACTS[zone_name] = lines.Zone(zoneinfo.ZoneInfo(zone_name))
    zone = ZONE_FACTS[zone_name]
    make = lines.Maker(random.Random(f"{seed}/{zone_name}/{kind}/{part}"), zone, SAMPLES)
    asked = [request_of(kind, make) for _ in range(count)]
    done = subprocess.run([driver], input="".join(request + "\n" for request, _ in asked), stdout=subprocess.PIPE, text=True,
                          encoding="ascii", env=os.environ | {"TZ": zone_name, "LC_ALL": "C"})
    answers = done.stdout.splitlines()
    if done.returncode != 0 or len(answers) != count:
        after = asked[len(answers)][0] if len(answers) < count else ""
        text = f"{zone_name}: the driver ended with {done.returncode} after {len(answers)} answers, at\n  {after}\n"
        return kind, count, [text]
    texts = []
    for (request, expected), answer in zip(asked, answers):
        wanted, found = expected(Host(zone.zone)), json.loads(answer)
        if wanted != found:
            where = "\n".join(differences(json.loads(json.dumps(wanted)), found))
            texts.append(f"TZ={zone_name}: {request}\n{where}\n")
    return kind, count, texts


def tasks(options):
    """The lines by kind and zone, in portions that two processors can share."""
    kinds = [kind for kind in KINDS if kind in (options.kind or KINDS)]
    zones = options.zone or ZONES
    shares = len(kinds) * len(zones)
    for number, (kind, zone) in enumerate(itertools.product(kinds, zones)):
        count = options.lines * (number + 1) // shares - options.lines * number // shares
        for part, start in enumerate(range(0, count, AT_ONCE)):
            yield options.driver, options.seed, zone, kind, part, min(AT_ONCE, count - start)


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("driver", help="the program second_driver")
    parser.add_argument("--lines", type=int, default=20000, help="how many in all (%(default)s)")
    parser.add_argument("--seed", default="1", help="of the random numbers (%(default)s)")
    parser.add_argument("-j", "--jobs", type=int, default=1, help="how many at once (%(default)s)")
    parser.add_argument("--kind", action="append", choices=KINDS, help="only these kinds")
    parser.add_argument("--zone", action="append", help="only these zones")
    parser.add_argument("--show", type=int, default=10, help="how many differences are shown (%(default)s)")
    return parser.parse_args()


def cpu_seconds():
    return sum(use.ru_utime + use.ru_stime
               for use in (resource.getrusage(who) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)))


def main():
    options = arguments()
    started = time.monotonic()
    counts, wrong, differing = dict.fromkeys(KINDS, 0), dict.fromkeys(KINDS, 0), []
    with multiprocessing.Pool(options.jobs) as pool:
        for kind, count, texts in pool.imap(compare, tasks(options)):
            counts[kind] += count
            wrong[kind] += len(texts)
            differing += texts[:options.show]
        pool.close()
        pool.join()
    for text in differing[:options.show]:
        print(text)
    for kind in KINDS:
        if counts[kind]:
            print(f"{counts[kind]:9}  {wrong[kind]:7} differ  {kind}")
    total, bad = sum(counts.values()), sum(wrong.values())
    print(f"{total:9}  {bad:7} differ  in all; seed {options.seed}, "
          f"{cpu_seconds():.0f} s of processor time, {time.monotonic() - started:.0f} s")
    return 1 if bad or total < options.lines else 0


SAMPLES = lines.sample_lines()

if __name__ == "__main__":
    sys.exit(main())
