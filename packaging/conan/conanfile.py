import os
import re

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load, rmdir
from conan.tools.scm import Version

required_conan_version = ">=2.0"


class TramoStreamConan(ConanFile):
    name = "tramostream"
    description = "Reads, checks, writes and explains exchange files of meter reading"
    topics = ("meter-reading", "fixed-width")
    license = "none-granted"   # as in debian/copyright
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": False, "fPIC": True}
    implements = ["auto_shared_fpic"]

    def _project(self):
        return os.path.join(self.recipe_folder, "..", "..")

    def set_version(self):
        text = load(self, os.path.join(self._project(), "CMakeLists.txt"))
        self.version = re.search(r"^project\(TramoStream VERSION ([0-9.]+)", text, re.M).group(1)

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "c/*", "check/*", "cmake/*", "common/*", "convert/*", "include/*", "model/*", "packaging/*.in",
                        "repair/*", "round/*", "stream/*", "debian/copyright"):
            copy(self, pattern, self._project(), self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def requirements(self):
        # A public header uses its types.
        self.requires("rapidjson/cci.20230929", transitive_headers=True)

    def build_requirements(self):
        self.tool_requires("cmake/[>=3.25]")

    def validate(self):
        check_min_cppstd(self, 20)
        oldest = {"gcc": "12", "clang": "14", "msvc": "193"}.get(str(self.settings.compiler))
        if not oldest or Version(self.settings.compiler.version) < oldest:
            raise ConanInvalidConfiguration(f"{self.ref} needs GCC 12, clang 14 or Visual C++ 2022")

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["TRAMOSTREAM_INSTALL"] = "shared" if self.options.shared else "static"
        toolchain.cache_variables["TRAMOSTREAM_TOOL"] = False
        toolchain.cache_variables["TRAMOSTREAM_TESTS"] = False
        rapidjson = self.dependencies["rapidjson"].cpp_info.aggregated_components()
        toolchain.cache_variables["TRAMOSTREAM_RAPIDJSON_INCLUDE_DIR"] = rapidjson.includedirs[0].replace("\\", "/")
        toolchain.generate()
        CMakeDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "copyright", os.path.join(self.source_folder, "debian"), os.path.join(self.package_folder, "licenses"))
        CMake(self).install()
        for folder in ("cmake", "pkgconfig"):
            rmdir(self, os.path.join(self.package_folder, "lib", folder))

    def package_info(self):
        static_of_msvc = not self.options.shared and self.settings.compiler == "msvc"
        self.cpp_info.libs = ["TramoStream_static" if static_of_msvc else "TramoStream"]
        self.cpp_info.set_property("cmake_file_name", "TramoStream")
        self.cpp_info.set_property("cmake_target_name", "tramostream::tramostream")
        self.cpp_info.set_property("pkg_config_name", "tramostream")
        if not self.options.shared:
            self.cpp_info.set_property("cmake_target_aliases", ["tramostream::static"])
            self.cpp_info.defines = ["TRAMOSTREAM_STATIC"]
