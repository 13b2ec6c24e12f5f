#include "zef/Point3.h"

#include <locale>
#include <sstream>

namespace QUOR_ZEF {

namespace {

// Truncated after adding a half: 10 and 11 give 11.
std::uint8_t meanChannel(std::uint8_t p, std::uint8_t q) {
    return static_cast<std::uint8_t>((static_cast<float>(q) + static_cast<float>(p)) * 0.5f + 0.5f);
}

}  // namespace

void Point3::getColor_255(std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) const {
    red = r;
    green = g;
    blue = b;
    alpha = a;
}

void Point3::getColor_255(float& red, float& green, float& blue, float& alpha) const {
    red = r;
    green = g;
    blue = b;
    alpha = a;
}

void Point3::getColor_1(float& red, float& green, float& blue, float& alpha) const {
    red = static_cast<float>(r / 255.0);
    green = static_cast<float>(g / 255.0);
    blue = static_cast<float>(b / 255.0);
    alpha = static_cast<float>(a / 255.0);
}

std::string Point3::getColorString() const {
    float red = 0.f, green = 0.f, blue = 0.f, alpha = 0.f;
    getColor_1(red, green, blue, alpha);
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << red << ' ' << green << ' ' << blue << ' ' << alpha;
    return text.str();
}

void Point3::addOwnColor(float& red, float& green, float& blue, float& alpha) const {
    red += r;
    green += g;
    blue += b;
    alpha += a;
}

void Point3::copyColorFrom(const Point3& other) {
    r = other.r;
    g = other.g;
    b = other.b;
    a = other.a;
    bHasColor = other.bHasColor;
}

void Point3::copyColorFrom(const Point3& p, const Point3& q) {
    if (!p.bHasColor && !q.bHasColor) {
        bHasColor = false;
    } else if (p.bHasColor && q.bHasColor) {
        setColor(meanChannel(p.r, q.r), meanChannel(p.g, q.g), meanChannel(p.b, q.b), meanChannel(p.a, q.a));
    } else {
        copyColorFrom(p);
    }
}

}  // namespace QUOR_ZEF
