"""What files of other programs hold besides samples stays in what talvora-host makes of them.

    kept_parts_test.py TALVORA_HOST PLUGIN

The files are made by h5py, and read back by it.
"""

import h5py
import numpy as np

import host_test

COMMENT = b"Left plate, raw \xc2\xb5V"
DOWNSAMPLE = ["run", "apply-set-downsample", "SourceGroup=Imu", "--to-rate", "50", "in.h5"]
OPPOSITE = ["run", "apply-set-opposite", "SourceGroup=Imu", "in.h5"]


def add_set(file, path, dtype="f4", count=120, **options):
    made = file.create_dataset(path, data=np.arange(count).reshape(1, 1, count).astype(dtype),
                               **options)
    made.attrs["SampleRate"] = np.float32(100)
    return made


class Comments(host_test.HostTest):
    def expect_comment(self, words):
        self.call(*words, "-o", "out.h5", "--force")
        with self.read() as file:
            self.assertEqual(h5py.h5g.open(file.id, b"/").get_comment(b"Imu/X"), COMMENT)
            self.assertFalse(h5py.h5g.open(file.id, b"/").get_comment(b"Imu/Y"))

    def make_set(self, **options):
        with self.make() as file:
            for path in ("Imu/X", "Imu/Y"):
                add_set(file, path, **options)
            h5py.h5o.set_comment(file["Imu/X"].id, COMMENT)

    def test_a_set_that_is_resized_keeps_its_comment(self):
        self.make_set()
        self.expect_comment(DOWNSAMPLE)

    def test_a_set_that_gets_another_type_keeps_its_comment(self):
        self.make_set(dtype="f8", chunks=(1, 1, 50))
        self.expect_comment(OPPOSITE)


class Chunks(host_test.HostTest):
    def test_a_set_that_is_made_smaller_keeps_chunks_and_limits(self):
        for fill in (0, -9, np.nan):
            for dtype in ("f4", "f8"):
                with self.subTest(fill=fill, dtype=dtype):
                    with self.make() as file:
                        add_set(file, "Imu/X", dtype, chunks=(1, 1, 25), maxshape=(3, 1, 500),
                                fillvalue=fill)
                    self.call(*DOWNSAMPLE, "-o", "out.h5", "--force")
                    with self.read() as file:
                        made = file["Imu/X"]
                        self.assertEqual(made.chunks, (1, 1, 25))
                        self.assertEqual(made.maxshape, (3, 1, 500))
                        np.testing.assert_equal(made.fillvalue, np.float32(fill))
                        np.testing.assert_array_equal(made[0, 0], np.arange(0, 120, 2))


if __name__ == "__main__":
    host_test.main()
