#include "Drawing.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <numbers>
#include <sstream>
#include <stdexcept>

namespace figures {

namespace {

constexpr double totalWidth = 700.0;
constexpr double margin = 12.0;
constexpr int numShades = 6, numPatches = 8;
constexpr const char* background = "#fbfaf7";

// Names begin with the kind: d dot, l line, f face.
constexpr const char* styleSheet =
    "text{font:13px sans-serif;fill:#33404a}.title{font-weight:bold}.num{font-size:12px;text-anchor:middle}"
    ".s path{stroke-linecap:round;stroke-linejoin:round;fill:none}"
    ".dPoint{stroke:#5b6770;stroke-width:22}.dPale{stroke:#b3bcc4;stroke-width:20}"
    ".dNode{stroke:#1f5f8b;stroke-width:46}.dAdded{stroke:#e07b1a;stroke-width:46}"
    ".dSample{stroke:#1f5f8b;stroke-width:54}.dKept{stroke:#c8321f;stroke-width:58}"
    ".dCell{stroke:#1f5f8b;stroke-width:90}.dNoCell{stroke:#c9d0d6;stroke-width:50}"
    ".dFeature{stroke:#c8321f;stroke-width:44}.dArea{stroke:#5b7f9b;stroke-width:34}"
    ".dLow0{stroke:#1f5f8b;stroke-width:62}.dLow1{stroke:#5f97c2;stroke-width:52}.dLow2{stroke:#a9c8de;stroke-width:44}"
    ".dUp0{stroke:#b06a10;stroke-width:62}.dUp1{stroke:#dd9a3c;stroke-width:52}.dUp2{stroke:#efcf9c;stroke-width:44}"
    ".lLink{stroke:#8fa3b3;stroke-width:9}.lPlane{stroke:#2a8f6d;stroke-width:26}.lGrid{stroke:#d7dde2;stroke-width:8}"
    ".lEdge{stroke:#33404a;stroke-width:12}.lBorder{stroke:#c8321f;stroke-width:30}.lMany{stroke:#8e2fa8;stroke-width:"
    "38}.lPair{stroke:#8e2fa8;stroke-width:13}"
    ".lFeature{stroke:#c8321f;stroke-width:26}.lBlock{stroke:#aab4bc;stroke-width:8}"
    ".s .fCellx,.s .fCelly,.s .fCellz{stroke:#7d8b99;stroke-width:6}.s .fCellx{fill:#b9c7d3}.s .fCelly{fill:#cbd6df}"
    ".s .fCellz{fill:#e3eaef}"
    ".s .fGonex,.s .fGoney,.s .fGonez{stroke:#b0661c;stroke-width:6}.s .fGonex{fill:#dd8f45}.s .fGoney{fill:#eaa35c}"
    ".s .fGonez{fill:#f6c48e}"
    ".s .fFillx,.s .fFilly,.s .fFillz{stroke:#3c7d4b;stroke-width:6}.s .fFillx{fill:#6fae7a}.s .fFilly{fill:#86bf8f}"
    ".s .fFillz{fill:#aedbb3}"
    ".s .fLowx,.s .fLowy,.s .fLowz{stroke:#2f628f;stroke-width:6}.s .fLowx{fill:#4f86b5}.s .fLowy{fill:#6b9cc6}"
    ".s .fLowz{fill:#92b9da}"
    ".s .fUpx,.s .fUpy,.s .fUpz{stroke:#9c6a18;stroke-width:6}.s .fUpx{fill:#d79b3a}.s .fUpy{fill:#e4b055}"
    ".s .fUpz{fill:#f2cd85}"
    ".s .fSeamx,.s .fSeamy,.s .fSeamz{stroke:#777;stroke-width:6}.s .fSeamx{fill:#d9d9d9}.s .fSeamy{fill:#ececec}"
    ".s .fSeamz{fill:#fff}"
    ".s .fTri{fill:#7fa8c9;fill-opacity:.75;stroke:#33404a;stroke-width:12}"
    ".s .fMesh{fill:#7fa8c9;fill-opacity:.35;stroke:#1f4f77;stroke-width:12}"
    ".s .fSoup{fill:#dfe6ec;stroke:#5b6770;stroke-width:12}";

struct Box {
    double minX = std::numeric_limits<double>::max(), minY = minX, maxX = -minX, maxY = -minX;
    void add(const View::Seen& p) {
        minX = std::min(minX, p.x);
        maxX = std::max(maxX, p.x);
        minY = std::min(minY, p.y);
        maxY = std::max(maxY, p.y);
    }
};

// All parts in a row, as a stream writes them.
template <class... Part>
std::string join(const Part&... parts) {
    std::ostringstream out;
    (out << ... << parts);
    return out.str();
}

long rounded(double value) {
    return std::lround(value);
}

std::string shadeColour(int shade, const double (&dark)[3], const double (&light)[3]) {
    const double share = static_cast<double>(shade) / (numShades - 1);
    const auto channel = [&](int i) { return rounded(dark[i] + share * (light[i] - dark[i])); };
    return join("rgb(", channel(0), ",", channel(1), ",", channel(2), ")");
}

// The classes that are made by rule: shades of triangles, and colours of patches.
std::string ruledStyles() {
    constexpr double darkFront[3] = {74, 104, 133}, lightFront[3] = {226, 236, 244};
    constexpr double darkBack[3] = {165, 115, 80}, lightBack[3] = {240, 214, 190};
    constexpr const char* patches[numPatches] = {"#86b2d6", "#f0b46a", "#9ccb8f", "#d99ab5",
                                                 "#b7a3dc", "#7fcac3", "#e2d56f", "#c7a58b"};
    std::string styles;
    for (int i = 0; i < numShades; ++i) {
        styles += join(".s .fA", i, "{fill:", shadeColour(i, darkFront, lightFront), ";stroke:#3f5568;stroke-width:6}");
        styles += join(".s .fB", i, "{fill:", shadeColour(i, darkBack, lightBack), ";stroke:#7a563c;stroke-width:6}");
    }
    for (int i = 0; i < numPatches; ++i)
        styles += join(".s .fP", i, "{fill:", patches[i], ";stroke:#4d5964;stroke-width:6}");
    return styles;
}

}  // namespace

View::View(double azimuth, double elevation) {
    const double a = azimuth * std::numbers::pi / 180.0, e = elevation * std::numbers::pi / 180.0;
    right = zef::Vector3(std::cos(a), std::sin(a), 0.0);
    up = zef::Vector3(-std::sin(a) * std::sin(e), std::cos(a) * std::sin(e), std::cos(e));
    away = zef::Vector3(-std::sin(a) * std::cos(e), std::cos(a) * std::cos(e), -std::sin(e));
}

View::Seen View::see(const zef::Point3& p) const {
    const zef::Vector3 v = p - zef::Point3();
    return {v * right, -(v * up), v * away};
}

zef::Vector3 View::getLight() const {
    const auto mix = [](double a, double b, double c) { return -a + 0.4 * b - 0.45 * c; };
    return zef::normalize(
        zef::Vector3(mix(away.vx, up.vx, right.vx), mix(away.vy, up.vy, right.vy), mix(away.vz, up.vz, right.vz)));
}

void Panel::add(const std::vector<zef::Point3>& vCorners, const std::string& style, double nearer, bool bClosed) {
    Item item{layer, -nearer, {}, style, "", bClosed};
    for (const zef::Point3& p : vCorners) {
        item.vCorners.push_back(view.see(p));
        item.depth += item.vCorners.back().depth / static_cast<double>(vCorners.size());
    }
    vItems.push_back(item);
}

void Panel::label(const zef::Point3& p, const std::string& text) {
    vItems.push_back({layer, 0.0, {view.see(p)}, "", text, false});
}

void Panel::face(const zef::Point3& low, const zef::Point3& high, int dir, const std::string& style) {
    const int axis = dir / 2;
    double normal[3] = {0.0, 0.0, 0.0};
    normal[axis] = dir % 2 ? 1.0 : -1.0;
    if (!view.faces(zef::Vector3(normal[0], normal[1], normal[2]))) return;
    const double ends[2][3] = {{low.px, low.py, low.pz}, {high.px, high.py, high.pz}};
    std::vector<zef::Point3> vCorners;
    for (const auto& [b, c] : {std::pair(0, 0), std::pair(1, 0), std::pair(1, 1), std::pair(0, 1)}) {
        double at[3];
        at[axis] = ends[dir % 2][axis];
        at[(axis + 1) % 3] = ends[b][(axis + 1) % 3];
        at[(axis + 2) % 3] = ends[c][(axis + 2) % 3];
        vCorners.emplace_back(at[0], at[1], at[2]);
    }
    polygon(vCorners, style);
}

// In tenths of a pixel, so that all numbers are short integers.
std::string Panel::write(double x, double y, double width, double panelHeight) const {
    constexpr double units = 10.0;
    Box box;
    for (const Item& item : vItems)
        for (const View::Seen& p : item.vCorners) box.add(p);
    const double scale = std::min(width / (box.maxX - box.minX), panelHeight / (box.maxY - box.minY));
    const double left = x + (width - scale * (box.maxX - box.minX)) / 2.0;
    const double top = y + (panelHeight - scale * (box.maxY - box.minY)) / 2.0;
    const auto toX = [&](const View::Seen& p) { return std::lround(units * (left + scale * (p.x - box.minX))); };
    const auto toY = [&](const View::Seen& p) { return std::lround(units * (top + scale * (p.y - box.minY))); };
    std::vector<const Item*> vSorted;
    for (const Item& item : vItems) vSorted.push_back(&item);
    std::stable_sort(vSorted.begin(), vSorted.end(), [](const Item* a, const Item* b) {
        return a->layer != b->layer ? a->layer < b->layer : a->depth > b->depth;
    });
    std::string out, texts, open;
    for (const Item* pItem : vSorted) {
        const std::vector<View::Seen>& v = pItem->vCorners;
        if (!pItem->text.empty()) {
            texts += join("<text class=\"num\" x=\"", toX(v[0]) / 10, "\" y=\"", toY(v[0]) / 10, "\">", pItem->text,
                          "</text>\n");
            continue;
        }
        if (pItem->style.empty()) continue;
        // What follows each other in one style is one path, but for boxes, which hide each other.
        const bool bAlone = pItem->bClosed && std::strchr("ABP", pItem->style[1]) == nullptr;
        if (bAlone || open != pItem->style) {
            if (!out.empty()) out += "\"/>\n";
            out += join("<path class=\"", pItem->style, "\" d=\"");
        }
        open = bAlone ? "" : pItem->style;
        out += join("M", toX(v[0]), " ", toY(v[0]));
        if (v.size() == 1) out += "h0";
        for (std::size_t i = 1; i < v.size(); ++i) {
            const long dx = toX(v[i]) - toX(v[i - 1]), dy = toY(v[i]) - toY(v[i - 1]);
            out += join(i == 1 ? "l" : dx < 0 ? "" : " ", dx, dy < 0 ? "" : " ", dy);
        }
        if (pItem->bClosed) out += "z";
    }
    if (!out.empty()) out += "\"/>\n";
    return join("<g class=\"s\" transform=\"scale(.1)\">\n", out, "</g>\n", texts);
}

std::string Figure::writeLegend(double top, double& bottom) const {
    constexpr double rowHeight = 21.0, swatch = 16.0, letter = 7.1, gap = 22.0;
    std::string out;
    double x = margin, y = top + rowHeight / 2.0;
    for (const auto& [style, text] : vLegend) {
        const double width = swatch + 7.0 + letter * static_cast<double>(text.size()) + gap;
        if (x + width - gap > totalWidth - margin && x > margin) {
            x = margin;
            y += rowHeight;
        }
        const std::string begin = join("<g class=\"s\" transform=\"scale(.1)\"><path class=\"", style, "\" d=\"M");
        const long left = rounded(10.0 * x), middle = rounded(10.0 * y);
        if (style[0] == 'd') out += join(begin, left + 80, " ", middle, "h0\"/></g>");
        if (style[0] == 'l') out += join(begin, left, " ", middle, "h160\"/></g>");
        if (style[0] == 'f') out += join(begin, left, " ", middle - 60, "h160v120h-160z\"/></g>");
        out += join("<text x=\"", rounded(x + swatch + 7.0), "\" y=\"", rounded(y + 4.5), "\">", text, "</text>\n");
        x += width;
    }
    bottom = y + rowHeight / 2.0;
    return out;
}

void Figure::write(const std::string& path) const {
    constexpr double titleHeight = 22.0;
    std::string body;
    double x = 0.0, bottom = 0.0;
    for (const auto& [panel, share] : vPanels) {
        const double width = share * totalWidth;
        body += join("<text class=\"title\" x=\"", rounded(x + margin), "\" y=\"", rounded(margin + 11.0), "\">",
                     panel.title, "</text>\n");
        body += panel.write(x + margin, margin + titleHeight, width - 2.0 * margin, height);
        x += width;
    }
    body += writeLegend(2.0 * margin + titleHeight + height, bottom);
    const long width = rounded(totalWidth), total = rounded(bottom + margin / 2.0);
    std::ofstream file(path);
    file << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << total
         << "\" viewBox=\"0 0 " << width << " " << total << "\">\n<style>" << styleSheet << ruledStyles()
         << "</style>\n<rect width=\"" << width << "\" height=\"" << total << "\" rx=\"6\" fill=\"" << background
         << "\"/>\n"
         << body << "</svg>\n";
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

std::string shadeOf(const zef::Vector3& normal, const View& view) {
    const bool bFront = view.faces(normal);
    const double lit = (bFront ? 1.0 : -1.0) * (zef::normalize(normal) * view.getLight());
    const int shade = std::clamp(static_cast<int>((0.15 + 0.85 * lit) * numShades), 0, numShades - 1);
    return join(bFront ? "fA" : "fB", shade);
}

}  // namespace figures
