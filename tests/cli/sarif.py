"""The rules of SARIF 2.1.0 for a document of the tool: names, types, minimum values, required members, and references between
its parts. Members that are not listed here must not occur."""
import re
from urllib.parse import unquote


class Invalid(Exception):
    pass


def require(condition, where, what):
    if not condition:
        raise Invalid(f"{where}: {what}")


def text(value, where):
    require(isinstance(value, str), where, "no string")


def filled(value, where):
    text(value, where)
    require(value, where, "empty")


def flag(value, where):
    require(isinstance(value, bool), where, "no boolean")


def integer(least):
    def check(value, where):
        require(isinstance(value, int) and not isinstance(value, bool), where, "no integer")
        require(value >= least, where, f"{value} is less than {least}")
    return check


def one_of(*values):
    def check(value, where):
        require(value in values, where, f"{value!r} is none of {values}")
    return check


def uri_reference(value, where):
    text(value, where)
    require(re.fullmatch(r"(?:[A-Za-z0-9\-._~!$&'()*+,;=:@/?#]|%[0-9A-Fa-f]{2})*", value), where, f"{value!r} is not a URI")
    scheme = re.match(r"([^/?#:]*):", value)
    require(not scheme or scheme[1] == "file", where, f"{value!r} has an unknown scheme")
    if value.startswith("file:"):
        require(value.startswith("file:///"), where, "no path from the root")
    else:
        require(not value.startswith("/"), where, "neither relative nor absolute")
    unquote(value, errors="strict")


def array(item, unique=False):
    def check(value, where):
        require(isinstance(value, list), where, "no array")
        for number, element in enumerate(value):
            item(element, f"{where}[{number}]")
        require(not unique or len({repr(element) for element in value}) == len(value), where, "an element occurs twice")
    return check


def record(required, **members):
    def check(value, where):
        require(isinstance(value, dict), where, "no object")
        for name in required:
            require(name in value, where, f"{name} is missing")
        for name, member in value.items():
            require(name in members, where, f"{name} is unknown")
            members[name](member, f"{where}.{name}")
    return check


def region(value, where):
    record(["startLine"], startLine=integer(1), startColumn=integer(1), endLine=integer(1), endColumn=integer(1),
           snippet=record(["text"], text=text))(value, where)
    if "endColumn" in value:
        require("startColumn" in value, where, "an end without a start")
        require(value.get("endLine", value["startLine"]) > value["startLine"] or value["endColumn"] >= value["startColumn"], where,
                "it ends before it starts")


message = record(["text"], text=filled)
level = one_of("none", "note", "warning", "error")
artifact_location = record(["uri"], uri=uri_reference, index=integer(0))
location = record([], physicalLocation=record(["artifactLocation"], artifactLocation=artifact_location, region=region),
                  logicalLocations=array(record([], name=filled, fullyQualifiedName=filled, kind=filled), unique=True))
rule = record(["id"], id=filled, shortDescription=message, fullDescription=message, help=message, defaultConfiguration=record([], level=level))
result = record(["message"], ruleId=filled, ruleIndex=integer(-1), level=level, message=message, locations=array(location),
                occurrenceCount=integer(1))
notification = record(["message"], level=level, message=message, locations=array(location))
invocation = record(["executionSuccessful"], executionSuccessful=flag, exitCode=integer(0), toolExecutionNotifications=array(notification))
artifact = record([], location=artifact_location, length=integer(-1))
run = record(["tool"],
             tool=record(["driver"], driver=record(["name"], name=filled, version=filled, rules=array(rule, unique=True))),
             columnKind=one_of("utf16CodeUnits", "unicodeCodePoints"), results=array(result), artifacts=array(artifact, unique=True),
             invocations=array(invocation))
document = record(["version", "runs"], **{"$schema": text}, version=one_of("2.1.0"), runs=array(run))


def validate(value):
    document(value, "document")
    require(re.fullmatch(r"https://\S+sarif-2\.1\.0\S*\.json", value.get("$schema", "")), "document.$schema", "not that of SARIF 2.1.0")
    for number, each in enumerate(value["runs"]):
        where = f"runs[{number}]"
        rules = each["tool"]["driver"].get("rules", [])
        names = [entry["id"] for entry in rules]
        require(len(set(names)) == len(names), where, "two rules of one name")
        uris = [entry["location"]["uri"] for entry in each.get("artifacts", [])]
        require("results" in each, where, "results are missing")
        for place, entry in enumerate(each["results"]):
            there = f"{where}.results[{place}]"
            require(entry["ruleId"] in names, there, "a rule that is not described")
            require(names[entry["ruleIndex"]] == entry["ruleId"], there, "the index of another rule")
            for at in entry["locations"]:
                require(at["physicalLocation"]["artifactLocation"]["uri"] in uris, there, "a file that is not listed")
