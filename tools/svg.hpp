// A minimal SVG writer for the tool's pictures: orthographic views of 3-D
// points in panels with a common scale. Self-contained, no dependency.
#pragma once

#include <array>
#include <string>
#include <vector>

namespace tova_cli {

using Vec3 = std::array<double, 3>;

// Which world axes a view shows, horizontal then vertical (vertical drawn up).
struct View {
    const char *title;
    int h, v;
};

class SvgCanvas {
  public:
    SvgCanvas(int panel_px, const std::vector<View> &views, double extent_m, const Vec3 &centre);

    void line(const Vec3 &a, const Vec3 &b, const char *colour, double width, double opacity = 1.0);
    void dot(const Vec3 &p, double radius, const char *colour, double opacity = 1.0);
    void label(const Vec3 &p, const std::string &text, const char *colour);
    // x, y, z axes of a frame (red, green, blue) of length `len` metres.
    void triad(const Vec3 &origin, const Vec3 &x, const Vec3 &y, const Vec3 &z, double len,
               const std::string &name);
    void caption(const std::vector<std::string> &lines);
    std::string str() const;  // the whole document

  private:
    std::array<double, 2> to_px(size_t view, const Vec3 &p) const;
    int panel_px_;
    std::vector<View> views_;
    double scale_;  // px per metre
    Vec3 centre_;
    double extent_;
    std::vector<std::string> caption_;
    std::vector<std::string> body_;  // per-view elements are emitted for every view
};

std::string xml_escape(const std::string &s);
bool write_file(const std::string &path, const std::string &text);

}  // namespace tova_cli
