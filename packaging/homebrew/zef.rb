class Zef < Formula
  desc "Triangle meshes from unordered 3D point clouds"
  homepage "@HOMEPAGE@"
  url "@URL@"
  sha256 "@SHA256@"
  license "MIT"

  depends_on "cli11" => :build
  depends_on "cmake" => :build
  depends_on "ninja" => :build
  depends_on "nlohmann-json" => :build
  depends_on "pkgconf" => :build
  depends_on "highway"
  depends_on "liblzf"
  depends_on "meshoptimizer"
  depends_on "pugixml"

  uses_from_macos "zlib"

  def install
    system "cmake", "-S", ".", "-B", "build", "-G", "Ninja", "-DZEF_BUILD_TESTS=OFF", "-DZEF_PYTHON=OFF",
           "-DBUILD_SHARED_LIBS=ON", *std_cmake_args
    system "cmake", "--build", "build"
    system "cmake", "--install", "build"
  end

  test do
    points = (0...5000).map do |i|
      z = 1 - (2 * i + 1) / 5000.0
      r = Math.sqrt(1 - z * z)
      format("%.9f %.9f %.9f", r * Math.cos(2.399963 * i), r * Math.sin(2.399963 * i), z)
    end
    (testpath/"sphere.xyz").write points.join("\n")
    system bin/"zef", "reconstruct", "sphere.xyz", "-o", "sphere.ply"
    assert_match "border edges           0", shell_output("#{bin}/zef check sphere.ply")
  end
end
