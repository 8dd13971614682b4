"""Which BLAKE3 the build links: never a shared library, which would have to lie beside the program."""
import pathlib
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]

CMAKE_PACKAGE = """
add_library(BLAKE3::blake3 {kind} IMPORTED)
set_target_properties(BLAKE3::blake3 PROPERTIES IMPORTED_LOCATION "{folder}/libblake3.dll"
    IMPORTED_IMPLIB "{folder}/libblake3.dll.a")
"""

PKG_CONFIG = """
Name: libblake3
Description: made for a test
Version: 1.3.1
Libs: -L{folder} -lblake3
"""


class BuildTest(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="larkspine-blake3-")
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)

    def configure(self, *settings, **variables):
        run = subprocess.run(
            ["cmake", "--preset", "mingw-exe", "-B", str(self.folder / "build"), *settings],
            cwd=PROJECT, env={"PATH": "/usr/bin:/bin", **variables}, capture_output=True,
            timeout=120, check=False)
        return run.returncode, " ".join((run.stdout + run.stderr).decode().split())

    def cmake_package(self, kind):
        (self.folder / "BLAKE3Config.cmake").write_text(
            CMAKE_PACKAGE.format(kind=kind, folder=self.folder))
        return f"-DBLAKE3_DIR={self.folder}"

    def assert_refused(self, result):
        code, said = result
        self.assertNotEqual(code, 0, said)
        self.assertIn("The installed libblake3 is shared", said)
        self.assertIn("LARKSPINE_BLAKE3_SOURCE_DIR", said)

    def test_a_shared_library_is_refused_where_there_are_no_sources(self):
        self.assert_refused(self.configure(self.cmake_package("SHARED"),
                                           "-DLARKSPINE_BLAKE3_SOURCE_DIR=/nonexistent"))

    def test_a_shared_library_found_only_by_pkg_config_is_refused_where_there_are_no_sources(self):
        (self.folder / "libblake3.pc").write_text(PKG_CONFIG.format(folder=self.folder))
        (self.folder / "libblake3.dll.a").touch()
        toolchain = self.folder / "toolchain.cmake"
        # The project's own toolchain file searches only the target's folder.
        toolchain.write_text(f'include("{PROJECT}/cmake/mingw-w64-x86_64.cmake")\n'
                             "set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)\n"
                             f'set(ENV{{PKG_CONFIG_LIBDIR}} "{self.folder}")\n')
        self.assert_refused(self.configure("--toolchain", str(toolchain),
                                           "-DLARKSPINE_BLAKE3_SOURCE_DIR=/nonexistent"))

    def test_sources_are_preferred_to_a_shared_library(self):
        code, said = self.configure(self.cmake_package("SHARED"))
        self.assertEqual(code, 0, said)
        self.assertIn("BLAKE3: compiled from", said)

    def test_an_installed_static_library_is_linked(self):
        code, said = self.configure(self.cmake_package("STATIC"))
        self.assertEqual(code, 0, said)
        self.assertIn("BLAKE3: installed CMake package", said)


if __name__ == "__main__":
    unittest.main()
