"""Dask DataFrames, on a cluster of two processes."""
import os
import unittest

import tramostream
from support import TestCase, content, generated, sample

try:
    import dask.dataframe
    import distributed
    import pandas
    import tramostream.dask
except ImportError:
    dask = None


@unittest.skipUnless(dask, "needs dask and distributed")
class Dask(TestCase):
    def setUp(self):
        super().setUp()
        os.environ["DASK_TEMPORARY_DIRECTORY"] = self.folder

    def test_cluster_of_two_processes(self):
        path = generated(self.folder, "--returned", "--meters", "3000")
        whole = tramostream.read(path)["meter subscriber"]
        with dask.config.set({"temporary-directory": self.folder}), \
                distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None,
                                         host="127.0.0.1") as cluster, distributed.Client(cluster):
            frame = tramostream.dask.read(path, "meter subscriber", bytes_per_part=400_000)
            self.assertGreater(frame.npartitions, 8)
            self.assertEqual(frame.meterReadingIndex.sum().compute(), whole.meterReadingIndex.sum())
            pandas.testing.assert_frame_equal(frame.compute().reset_index(drop=True), whole, check_flags=False)

    def test_partitions(self):
        for name in "round-returned.txt", "round-returned-utf16.txt":
            frame = tramostream.dask.read(sample(name), "AMR", ["serialNumber", "currentAlarms"], bytes_per_part=9000)
            self.assertGreater(frame.npartitions, 3)
            with dask.config.set(scheduler="synchronous"):
                whole = tramostream.read(sample(name), columns=["serialNumber", "currentAlarms"])["AMR"]
                pandas.testing.assert_frame_equal(frame.compute().reset_index(drop=True), whole, check_flags=False)

    def test_several_files(self):
        frame = tramostream.dask.read([sample("round-returned.txt"), sample("round-exported.txt")], "1", ["meterReadingIndex"])
        with dask.config.set(scheduler="synchronous"):
            made = frame.compute()
        self.assertEqual(list(made.columns), ["path", "line", "meterReadingIndex"])
        self.assertEqual(set(made.path), {sample("round-returned.txt"), sample("round-exported.txt")})

    def test_empty_and_missing_files(self):
        with dask.config.set(scheduler="synchronous"):
            self.assertEqual(tramostream.dask.read(self.path("empty.txt"), "AMR").compute().shape, (0, 29))
        with self.assertRaises(FileNotFoundError):
            tramostream.dask.read(os.path.join(self.folder, "missing.txt"), "AMR")
        with self.assertRaises(tramostream.UnknownNameError):
            tramostream.dask.read(self.path("one.txt", content("tags.txt")), "no such kind")


if __name__ == "__main__":
    unittest.main()
