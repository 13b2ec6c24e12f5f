#include <zef/zef.h>

int main() {
    zef::printVersion();
    const zef::Point3 corner(1.0, 2.0, 3.0);
    const zef::Vector3 normal = zef::normalize(zef::Vector3(0.0, 3.0, 4.0));
    const zef::Point3 moved = corner + normal * 5.0;
    return zef::isLicensed() && moved == zef::Point3(1.0, 5.0, 7.0) ? 0 : 1;
}
