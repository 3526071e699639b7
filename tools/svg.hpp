// A minimal SVG writer for the tool's pictures: orthographic views of 3-D
// points in side-by-side panels with one common scale, a grid at the scale
// bar's spacing, labels placed so that they do not overlap, and a caption.
// Self-contained, no dependency.
#pragma once

#include <array>
#include <string>
#include <utility>
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
    // Panels of panel_px square showing centre +- extent_m along their axes.
    SvgCanvas(int panel_px, const std::vector<View> &views, double extent_m, const Vec3 &centre);

    void line(const Vec3 &a, const Vec3 &b, const char *colour, double width, double opacity = 1.0,
              bool dashed = false);
    // A filled circle; without a colour it takes the fill of its group
    // (begin_group's style), which keeps large point clouds small.
    void dot(const Vec3 &p, double radius, const char *colour = nullptr, double opacity = 1.0);
    // Text near p; placed in str() beside the earlier labels and off the lines
    // and large dots drawn, where there is room.
    void label(const Vec3 &p, const std::string &text, const char *colour);
    // x, y, z axes of a frame (red, green, blue arrows) of length `len`
    // metres, grouped as <g class="triad" data-frame="name">.
    void triad(const Vec3 &origin, const Vec3 &x, const Vec3 &y, const Vec3 &z, double len,
               const std::string &name);
    // Groups the elements drawn until end_group (in every view); `style`
    // holds presentation attributes for the group, e.g. fill="red".
    void begin_group(const std::string &cls, const std::string &style = "");
    void end_group();
    void caption(const std::vector<std::string> &lines);
    // One row of colour swatches with their meaning, under the scale bar.
    void legend(const std::vector<std::pair<std::string, std::string>> &colour_and_text);
    std::string str() const;  // the whole document

  private:
    struct Rect {
        double x0, y0, x1, y1;
        bool hits(const Rect &o) const { return x0 < o.x1 && o.x0 < x1 && y0 < o.y1 && o.y0 < y1; }
    };
    struct Label {
        double x, y;  // anchor, px
        std::string text;
        const char *colour;
    };
    std::array<double, 2> to_px(size_t view, const Vec3 &p) const;
    double panel_x(size_t view) const;
    void segment(size_t view, const Vec3 &a, const Vec3 &b, const std::string &attrs);
    int panel_px_;
    std::vector<View> views_;
    double scale_;  // px per metre
    Vec3 centre_;
    std::vector<std::string> caption_;
    std::vector<std::pair<std::string, std::string>> legend_;
    std::vector<std::vector<std::string>> body_;  // per view
    std::vector<std::vector<Label>> labels_;      // per view
    std::vector<std::vector<Rect>> obstacles_;    // per view: drawn lines and large dots
};

// Centre of the box around `pts` and its largest half side times `margin`
// (at least min_extent): what a SvgCanvas needs to show all of them.
void fit_view(const std::vector<Vec3> &pts, double margin, double min_extent, Vec3 &centre,
              double &extent);

std::string xml_escape(const std::string &s);
bool write_file(const std::string &path, const std::string &text);

}  // namespace tova_cli
