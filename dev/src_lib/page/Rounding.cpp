#include "page/Rounding.h"

#include <algorithm>

#include "page/PageData.h"

namespace QUOR_ZEF {

double PageBox::extent() const {
    return isEmpty() ? 0.0 : std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]});
}

void PageBox::add(const Point3& p) {
    const std::array<double, 3> coords = {p.px, p.py, p.pz};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        low[axis] = std::min(low[axis], coords[axis]);
        high[axis] = std::max(high[axis], coords[axis]);
    }
}

std::string PageBox::json() const {
    JsonList list;
    for (const auto& corner : {low, high})
        for (const double coord : corner) list.add(jsonNumber(coord));
    return list.done();
}

Rounding::Rounding(const PageBox& box, double finest) {
    constexpr double usual = 1.0 / 65535.0, most = 1.0 / 16777215.0, shareOfFinest = 1.0 / 32.0;
    const double extent = box.extent();
    step = extent * usual;
    if (finest > 0.0) step = std::clamp(finest * shareOfFinest, extent * most, step);
    if (!(step > 0.0) || !std::isfinite(step)) step = 1.0;
    if (!box.isEmpty()) origin = Point3(box.low[0], box.low[1], box.low[2]);
}

PackedPoint Rounding::operator()(const Point3& p) const {
    const auto stepsOf = [&](double coord, double start) {
        return static_cast<std::uint32_t>(std::clamp((coord - start) / step + 0.5, 0.0, 16777215.0));
    };
    PackedPoint packed{{stepsOf(p.px, origin.px), stepsOf(p.py, origin.py), stepsOf(p.pz, origin.pz)}};
    if (!p.bHasColor) return packed;
    packed.color = {p.r, p.g, p.b};
    packed.marks = PackedPoint::colored;
    return packed;
}

std::string Rounding::json() const {
    return "\"origin\":[" + jsonNumber(origin.px) + "," + jsonNumber(origin.py) + "," + jsonNumber(origin.pz) +
           "],\"step\":" + jsonNumber(step);
}

}  // namespace QUOR_ZEF
