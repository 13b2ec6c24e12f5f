// CGAL's advancing front: text of points in, OFF out. advancing_front IN OUT
#include <CGAL/Advancing_front_surface_reconstruction.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

#include <array>
#include <cstddef>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

int main(int argc, char** argv) {
    using Point = CGAL::Exact_predicates_inexact_constructions_kernel::Point_3;
    if (argc != 3) {
        std::cerr << "advancing_front IN OUT\n";
        return 2;
    }
    std::ifstream in(argv[1]);
    std::vector<Point> vPoints;
    for (double x, y, z; in >> x >> y >> z;) vPoints.emplace_back(x, y, z);
    std::vector<std::array<std::size_t, 3>> vTriangles;
    CGAL::advancing_front_surface_reconstruction(vPoints.begin(), vPoints.end(), std::back_inserter(vTriangles));
    std::ofstream out(argv[2]);
    out.precision(17);
    out << "OFF\n" << vPoints.size() << ' ' << vTriangles.size() << " 0\n";
    for (const Point& p : vPoints) out << p << '\n';
    for (const auto& t : vTriangles) out << "3 " << t[0] << ' ' << t[1] << ' ' << t[2] << '\n';
    return out.flush() ? 0 : 1;
}
