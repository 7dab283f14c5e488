"""The rules of RFC 7946 for a feature collection of points, as far as a document alone shows them."""
import json
import math


def reject(word):
    raise ValueError(f"{word} is not JSON")


def members(pairs):
    names = [name for name, _ in pairs]
    if len(set(names)) < len(names):
        raise ValueError(f"duplicate member names in {names}")
    return dict(pairs)


def require(condition, what):
    if not condition:
        raise ValueError(what)


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool) and math.isfinite(value)


def checked(document):
    """Returns the features of a document (bytes). Raises ValueError if it breaks a rule."""
    require(not document.startswith(b"\xef\xbb\xbf"), "a byte order mark")   # 11: RFC 8259, section 8.1
    collection = json.loads(document.decode("utf-8"), parse_constant=reject, object_pairs_hook=members)
    require(isinstance(collection, dict) and collection.get("type") == "FeatureCollection", "not a feature collection")   # 3.3
    require("crs" not in collection, "a crs member")   # 4
    require(not {"geometry", "properties", "coordinates", "geometries"} & set(collection), "members of another type")   # 7.1
    require(isinstance(collection.get("features"), list), "features is not an array")
    for feature in collection["features"]:
        require(isinstance(feature, dict) and feature.get("type") == "Feature", "not a feature")   # 3.2
        require({"geometry", "properties"} <= set(feature), "a feature without geometry or properties")
        require(not {"crs", "features", "coordinates", "geometries"} & set(feature), "members of another type in a feature")
        require(isinstance(feature["properties"], dict), "properties is not an object")
        point = feature["geometry"]
        require(isinstance(point, dict) and point.get("type") == "Point", "not a point")   # 3.1.2
        require(set(point) == {"type", "coordinates"}, "other members in a geometry")
        position = point["coordinates"]
        require(isinstance(position, list) and 2 <= len(position) <= 3 and all(map(is_number, position)), "not a position")   # 3.1.1
        require(-180 <= position[0] <= 180 and -90 <= position[1] <= 90, "not longitude and latitude in degrees")   # 4
    return collection["features"]
