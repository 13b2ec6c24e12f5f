#include "reports/measure.h"

#include <algorithm>
#include <cmath>

using zef::Point3;

namespace {

class BoxMaker {
public:
    void add(const Point3& p) {
        if (!(std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz))) return;
        const std::array<double, 3> coords{p.px, p.py, p.pz};
        if (bEmpty) box.min = box.max = coords;
        bEmpty = false;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box.min[axis] = std::min(box.min[axis], coords[axis]);
            box.max[axis] = std::max(box.max[axis], coords[axis]);
        }
    }
    const Box& get() const { return box; }

private:
    Box box;
    bool bEmpty = true;
};

}  // namespace

Box measureBox(std::span<const Point3> points) {
    BoxMaker maker;
    for (const Point3& p : points) maker.add(p);
    return maker.get();
}

namespace {

void addThree(Report& report, const std::string& key, const std::string& label, const std::array<double, 3>& v) {
    report.add(key, label, v, numberText(v[0]) + "  " + numberText(v[1]) + "  " + numberText(v[2]));
}

}  // namespace

void reportBox(Report& report, const Box& box) {
    addThree(report, "box_min", "lower corner", box.min);
    addThree(report, "box_max", "upper corner", box.max);
    reportSize(report, box);
}

void reportSize(Report& report, const Box& box) {
    addThree(report, "box_size", "size", {box.size(0), box.size(1), box.size(2)});
}
