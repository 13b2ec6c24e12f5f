from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, get


class ZefConan(ConanFile):
    name = "zef"
    version = "1.13"
    description = "Triangle meshes from unordered 3D point clouds"
    license = "MIT"
    package_type = "library"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False], "fPIC": [True, False], "tools": [True, False]}
    default_options = {"shared": False, "fPIC": True, "tools": False}

    def validate(self):
        check_min_cppstd(self, 20)

    def requirements(self):
        self.requires("highway/1.0.3")
        self.requires("liblzf/3.6")
        self.requires("meshoptimizer/0.18")
        self.requires("nlohmann_json/3.11.2")
        self.requires("pugixml/1.13")
        self.requires("zlib/[>=1.2.11 <2]")
        if self.options.tools:
            self.requires("cli11/2.3.2")

    def layout(self):
        cmake_layout(self, src_folder="src")

    def source(self):
        get(self, url="@URL@", sha256="@SHA256@", strip_root=True)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.variables["BUILD_SHARED_LIBS"] = bool(self.options.shared)
        toolchain.variables["ZEF_BUILD_TESTS"] = False
        toolchain.variables["ZEF_BUILD_APPS"] = bool(self.options.tools)
        toolchain.variables["ZEF_PYTHON"] = "OFF"
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, self.package_folder + "/licenses")
        CMake(self).install()

    def package_info(self):
        self.cpp_info.libs = ["zef"]
        self.cpp_info.set_property("cmake_file_name", "zef")
        self.cpp_info.set_property("cmake_target_name", "zef::zef")
        self.cpp_info.set_property("pkg_config_name", "zef")
        self.cpp_info.system_libs = ["pthread"]
