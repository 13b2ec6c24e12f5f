#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "zef/Point3.h"
#include "zef/Vector3.h"

// Line drawings of shapes in space, as SVG files of one look.
namespace figures {

// A parallel projection: the viewer stands in this direction, both in degrees. 0 and 0 look
// along y, with x to the right and z upward.
class View {
public:
    View(double azimuth, double elevation);

    struct Seen {
        double x, y, depth;  // y downward; depth grows away from the viewer
    };
    Seen see(const zef::Point3& p) const;
    // Whether a face with this normal, of any length, looks at the viewer.
    bool faces(const zef::Vector3& normal) const { return normal * away < 0.0; }
    // From over the viewer's left shoulder, of unit length.
    zef::Vector3 getLight() const;

private:
    zef::Vector3 right, up, away;
};

// Shapes, each with a class of the style sheet, drawn from far to near. Those of a higher
// layer come later, whatever their depth.
class Panel {
public:
    Panel(const std::string& panelTitle, const View& panelView) : title(panelTitle), view(panelView) {}

    const View& getView() const { return view; }
    void setLayer(int newLayer) { layer = newLayer; }
    // Keeps room for p.
    void extend(const zef::Point3& p) { add({p}, "", 0.0, false); }
    void dot(const zef::Point3& p, const std::string& style) { add({p}, style, 0.0, false); }
    // nearer: by how much it is taken to lie nearer than it does.
    void line(const zef::Point3& p, const zef::Point3& q, const std::string& style, double nearer = 0.0) {
        add({p, q}, style, nearer, false);
    }
    void polygon(const std::vector<zef::Point3>& vCorners, const std::string& style) {
        add(vCorners, style, 0.0, true);
    }
    // A text in the middle below p.
    void label(const zef::Point3& p, const std::string& text);
    // The faces of a box that look at the viewer and that isOpen(dir) tells; dir: 0 to 5 for -x to +z.
    // Their style is the given one with the letter of their axis behind it.
    template <class IsOpen>
    void box(const zef::Point3& low, const zef::Point3& high, const std::string& style, IsOpen&& isOpen) {
        for (int dir = 0; dir < 6; ++dir)
            if (isOpen(dir)) face(low, high, dir, style + "xyz"[dir / 2]);
    }
    void face(const zef::Point3& low, const zef::Point3& high, int dir, const std::string& style);

private:
    friend class Figure;

    struct Item {
        int layer;
        double depth;
        std::vector<View::Seen> vCorners;
        std::string style, text;
        bool bClosed;
    };
    void add(const std::vector<zef::Point3>& vCorners, const std::string& style, double nearer, bool bClosed);
    std::string write(double x, double y, double width, double height) const;

    std::string title;
    View view;
    int layer = 0;
    std::vector<Item> vItems;
};

// Panels side by side, and a legend below them.
class Figure {
public:
    // In pixels, without title and legend.
    explicit Figure(double panelHeight) : height(panelHeight) {}

    // share: of the width. The shapes are scaled to fit.
    void add(const Panel& panel, double share) { vPanels.emplace_back(panel, share); }
    // style: of a dot, a line or a face, as in the panels.
    void legend(const std::string& style, const std::string& text) { vLegend.emplace_back(style, text); }
    // Throws std::runtime_error if the file cannot be written.
    void write(const std::string& path) const;

private:
    std::string writeLegend(double top, double& bottom) const;

    double height;
    std::vector<std::pair<Panel, double>> vPanels;
    std::vector<std::pair<std::string, std::string>> vLegend;
};

// The style of a triangle by the direction of its normal: seen from the front or from behind.
std::string shadeOf(const zef::Vector3& normal, const View& view);

}  // namespace figures
