// The outline of a coloured triangle: positions, directions and colours.

#include <zef/zef.h>

#include <cstddef>
#include <iostream>
#include <vector>

int main() {
    zef::printVersion();
    const std::vector<zef::Point3> corners{
        {0.0, 0.0, 0.0, 200, 0, 0, 255}, {3.0, 0.0, 0.0, 0, 200, 0, 255}, {0.0, 4.0, 0.0, 0, 0, 200, 255}};

    double outline = 0.0;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const zef::Point3& from = corners[i];
        const zef::Point3& to = corners[(i + 1) % corners.size()];
        const zef::Vector3 side = to - from;
        zef::Point3 middle = from + side * 0.5;
        middle.copyColorFrom(from, to);

        const zef::Vector3 direction = zef::normalize(side);
        std::cout << "side of length " << side.length() << " towards " << direction.x() << ' ' << direction.y() << ' '
                  << direction.z() << ", colour of its middle " << middle.getColorString() << '\n';
        outline += side.length();
    }
    std::cout << "outline " << outline << '\n';
    return outline == 12.0 ? 0 : 1;
}
