"""The structures of the Arrow C data interface and of the Arrow PyCapsule interface, by ctypes."""
import ctypes
from ctypes import POINTER, byref, c_char_p, c_int, c_int64, c_void_p



class Schema(ctypes.Structure):
    pass


class Array(ctypes.Structure):
    pass


class Stream(ctypes.Structure):
    pass


ReleaseSchema, ReleaseArray, ReleaseStream = (ctypes.CFUNCTYPE(None, POINTER(of)) for of in (Schema, Array, Stream))
Schema._fields_ = [("format", c_char_p), ("name", c_char_p), ("metadata", c_char_p), ("flags", c_int64), ("n_children", c_int64),
                   ("children", POINTER(POINTER(Schema))), ("dictionary", POINTER(Schema)), ("release", ReleaseSchema),
                   ("private_data", c_void_p)]
Array._fields_ = [("length", c_int64), ("null_count", c_int64), ("offset", c_int64), ("n_buffers", c_int64), ("n_children", c_int64),
                  ("buffers", POINTER(c_void_p)), ("children", POINTER(POINTER(Array))), ("dictionary", POINTER(Array)),
                  ("release", ReleaseArray), ("private_data", c_void_p)]
Stream._fields_ = [("get_schema", ctypes.CFUNCTYPE(c_int, POINTER(Stream), POINTER(Schema))),
                   ("get_next", ctypes.CFUNCTYPE(c_int, POINTER(Stream), POINTER(Array))),
                   ("get_last_error", ctypes.CFUNCTYPE(c_char_p, POINTER(Stream))), ("release", ReleaseStream),
                   ("private_data", c_void_p)]

ctypes.pythonapi.PyCapsule_GetPointer.restype = c_void_p
ctypes.pythonapi.PyCapsule_GetPointer.argtypes = [ctypes.py_object, c_char_p]
ctypes.pythonapi.PyCapsule_GetName.restype = c_char_p
ctypes.pythonapi.PyCapsule_GetName.argtypes = [ctypes.py_object]


def stream_of(capsule):
    """The stream of a capsule, which must stay alive."""
    return Stream.from_address(ctypes.pythonapi.PyCapsule_GetPointer(capsule, b"arrow_array_stream"))


def schema_of(capsule):
    return Schema.from_address(ctypes.pythonapi.PyCapsule_GetPointer(capsule, b"arrow_schema"))


def name_of(capsule):
    return ctypes.pythonapi.PyCapsule_GetName(capsule)


def columns_of(schema):
    """Name, format and whether it is nullable, of each child."""
    return [(child.name.decode(), child.format.decode(), bool(child.flags & 2))
            for child in (schema.children[i].contents for i in range(schema.n_children))]


TYPES = {"i": ctypes.c_int32, "l": c_int64, "g": ctypes.c_double, "s": ctypes.c_int16, "S": ctypes.c_uint16, "tdD": ctypes.c_int32,
         "tss:": c_int64}


def values_of(array, form):
    """The values of a column; None: absent."""
    result = []
    for row in range(array.offset, array.offset + array.length):
        validity = array.buffers[0]
        if validity and not ctypes.string_at(validity + row // 8, 1)[0] >> row % 8 & 1:
            result.append(None)
        elif form == "u":
            begin, end = (ctypes.c_int32 * 2).from_address(array.buffers[1] + 4 * row)
            result.append(ctypes.string_at(array.buffers[2] + begin, end - begin).decode())
        elif form == "b":
            result.append(bool(ctypes.string_at(array.buffers[1] + row // 8, 1)[0] >> row % 8 & 1))
        else:
            result.append(TYPES[form].from_address(array.buffers[1] + row * ctypes.sizeof(TYPES[form])).value)
    return result


def shown(value, form):
    """A value of a table of tramostream as Arrow holds it."""
    import datetime
    if value is None:
        return None
    if form == "S":
        return int(value, 16)
    if form == "tdD":
        return (value - datetime.date(1970, 1, 1)).days
    if form == "tss:":
        return int((value - datetime.datetime(1970, 1, 1)).total_seconds())
    return value


def read_all(capsule):
    """The schema's columns, and the arrays of a stream; the caller releases them."""
    stream, schema = stream_of(capsule), Schema()
    assert stream.get_schema(byref(stream), byref(schema)) == 0
    columns = columns_of(schema)
    schema.release(byref(schema))
    arrays = []
    while True:
        array = Array()
        error = stream.get_next(byref(stream), byref(array))
        if error:
            raise OSError(error, stream.get_last_error(byref(stream)).decode())
        if not array.release:
            return columns, arrays
        arrays.append(array)
