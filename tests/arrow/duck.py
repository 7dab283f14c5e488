"""DuckDB by its C interface."""
import ctypes


class Result(ctypes.Structure):
    """duckdb_result of DuckDB's C interface."""
    _fields_ = [("numbers", ctypes.c_uint64 * 3), ("pointers", ctypes.c_void_p * 3)]


class DuckDB:
    """A database in memory."""

    def __init__(self, path):
        self.library = ctypes.CDLL(path)
        self.library.duckdb_value_varchar.restype = ctypes.c_void_p
        for function in "duckdb_value_varchar", "duckdb_value_is_null":
            getattr(self.library, function).argtypes = [ctypes.c_void_p, ctypes.c_uint64, ctypes.c_uint64]
        self.library.duckdb_value_is_null.restype = ctypes.c_bool
        self.library.duckdb_row_count.restype = self.library.duckdb_column_count.restype = ctypes.c_uint64
        self.library.duckdb_result_error.restype = ctypes.c_char_p
        self.database, self.connection = ctypes.c_void_p(), ctypes.c_void_p()
        assert self.library.duckdb_open(None, ctypes.byref(self.database)) == 0
        assert self.library.duckdb_connect(self.database, ctypes.byref(self.connection)) == 0

    def close(self):
        self.library.duckdb_disconnect(ctypes.byref(self.connection))
        self.library.duckdb_close(ctypes.byref(self.database))

    def query(self, sql):
        """The rows: texts, or None."""
        result = Result()
        failed = self.library.duckdb_query(self.connection, sql.encode(), ctypes.byref(result))
        try:
            if failed:
                raise SystemExit(f"{sql}: {self.library.duckdb_result_error(ctypes.byref(result)).decode()}")
            here = ctypes.byref(result)
            columns = range(self.library.duckdb_column_count(here))
            rows = range(self.library.duckdb_row_count(here))
            return [[self.value(here, column, row) for column in columns] for row in rows]
        finally:
            self.library.duckdb_destroy_result(ctypes.byref(result))

    def value(self, result, column, row):
        if self.library.duckdb_value_is_null(result, column, row):
            return None
        text = self.library.duckdb_value_varchar(result, column, row)
        value = ctypes.string_at(text).decode()
        self.library.duckdb_free(ctypes.c_void_p(text))
        return value

    def attach(self, stream):
        """Makes a stream, which it takes over, the table records."""
        assert self.library.duckdb_arrow_scan(self.connection, b"stream", stream) == 0
        self.query("create or replace table records as select * from stream")
        self.query("drop view stream")
