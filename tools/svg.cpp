#include "svg.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tova_cli {

namespace {
std::string num(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", v);
    return buf;
}
constexpr int kMargin = 30;  // px around and between the panels
constexpr int kTitle = 22;   // px above each panel for its title
constexpr int kCaptionLine = 18;
constexpr double kCharPx = 6.4;  // mean advance of the 11 px label font
constexpr const char *kAxisColour[3] = {"#d62728", "#2ca02c", "#1f77b4"};  // x, y, z
constexpr const char *kAxisMarker[3] = {"arrow-x", "arrow-y", "arrow-z"};

// A round length (1, 2 or 5 times a power of ten) not above `target`.
double round_length(double target) {
    const double p10 = std::pow(10.0, std::floor(std::log10(target)));
    double bar = p10;
    for (double m : {2.0, 5.0})
        if (m * p10 <= target) bar = m * p10;
    return bar;
}
}  // namespace

void fit_view(const std::vector<Vec3> &pts, double margin, double min_extent, Vec3 &centre,
              double &extent) {
    Vec3 lo = pts.empty() ? Vec3{} : pts[0], hi = lo;
    for (const auto &p : pts)
        for (int k = 0; k < 3; ++k) {
            lo[k] = std::min(lo[k], p[k]);
            hi[k] = std::max(hi[k], p[k]);
        }
    extent = min_extent;
    for (int k = 0; k < 3; ++k) {
        centre[k] = 0.5 * (lo[k] + hi[k]);
        extent = std::max(extent, 0.5 * (hi[k] - lo[k]) * margin);
    }
}

std::string xml_escape(const std::string &s) {
    std::string out;
    for (char c : s) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
        }
    }
    return out;
}

bool write_file(const std::string &path, const std::string &text) {
    FILE *f = std::fopen(path.c_str(), "w");
    if (!f) return false;
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

SvgCanvas::SvgCanvas(int panel_px, const std::vector<View> &views, double extent_m,
                     const Vec3 &centre)
    : panel_px_(panel_px), views_(views), centre_(centre), body_(views.size()),
      labels_(views.size()), obstacles_(views.size()) {
    scale_ = panel_px / (2.0 * (extent_m > 1e-6 ? extent_m : 1.0));
}

double SvgCanvas::panel_x(size_t view) const {
    return kMargin + static_cast<double>(view) * (panel_px_ + kMargin);
}

std::array<double, 2> SvgCanvas::to_px(size_t view, const Vec3 &p) const {
    const View &v = views_[view];
    const double ox = panel_x(view) + panel_px_ / 2.0;
    const double oy = kMargin + kTitle + panel_px_ / 2.0;
    return {ox + (p[v.h] - centre_[v.h]) * scale_, oy - (p[v.v] - centre_[v.v]) * scale_};
}

void SvgCanvas::segment(size_t view, const Vec3 &a, const Vec3 &b, const std::string &attrs) {
    auto pa = to_px(view, a), pb = to_px(view, b);
    // the line as boxes every few pixels, for the label placement to avoid
    const double len = std::hypot(pb[0] - pa[0], pb[1] - pa[1]);
    const int steps = 1 + static_cast<int>(len / 5.0);
    for (int k = 0; k <= steps; ++k) {
        const double t = static_cast<double>(k) / steps;
        const double x = pa[0] + t * (pb[0] - pa[0]), y = pa[1] + t * (pb[1] - pa[1]);
        obstacles_[view].push_back({x - 3, y - 3, x + 3, y + 3});
    }
    body_[view].push_back("<line x1=\"" + num(pa[0]) + "\" y1=\"" + num(pa[1]) + "\" x2=\"" +
                          num(pb[0]) + "\" y2=\"" + num(pb[1]) + "\" " + attrs + "/>");
}

void SvgCanvas::line(const Vec3 &a, const Vec3 &b, const char *colour, double width, double opacity,
                     bool dashed) {
    const std::string attrs = "stroke=\"" + std::string(colour) + "\" stroke-width=\"" + num(width) +
                              "\" stroke-opacity=\"" + num(opacity) + "\" stroke-linecap=\"round\"" +
                              (dashed ? " stroke-dasharray=\"6 4\"" : "");
    for (size_t i = 0; i < views_.size(); ++i) segment(i, a, b, attrs);
}

void SvgCanvas::dot(const Vec3 &p, double radius, const char *colour, double opacity) {
    const std::string fill =
        colour ? " fill=\"" + std::string(colour) + "\" fill-opacity=\"" + num(opacity) + "\"" : "";
    for (size_t i = 0; i < views_.size(); ++i) {
        auto pp = to_px(i, p);
        if (radius >= 3.0)
            obstacles_[i].push_back({pp[0] - radius, pp[1] - radius, pp[0] + radius, pp[1] + radius});
        body_[i].push_back("<circle cx=\"" + num(pp[0]) + "\" cy=\"" + num(pp[1]) + "\" r=\"" + num(radius) +
                           "\"" + fill + "/>");
    }
}

void SvgCanvas::label(const Vec3 &p, const std::string &text, const char *colour) {
    for (size_t i = 0; i < views_.size(); ++i) {
        auto pp = to_px(i, p);
        labels_[i].push_back({pp[0], pp[1], text, colour});
    }
}

void SvgCanvas::begin_group(const std::string &cls, const std::string &style) {
    for (auto &b : body_) b.push_back("<g class=\"" + xml_escape(cls) + "\"" + (style.empty() ? "" : " ") + style + ">");
}

void SvgCanvas::end_group() {
    for (auto &b : body_) b.push_back("</g>");
}

void SvgCanvas::triad(const Vec3 &o, const Vec3 &x, const Vec3 &y, const Vec3 &z, double len,
                      const std::string &name) {
    const Vec3 *axes[3] = {&x, &y, &z};
    for (size_t i = 0; i < views_.size(); ++i) {
        const View &v = views_[i];
        // the axis out of the screen: e_h x e_v (right-handed views)
        const int depth = 3 - v.h - v.v;
        const double out_sign = ((v.h + 1) % 3 == v.v) ? 1.0 : -1.0;
        body_[i].push_back("<g class=\"triad\" data-frame=\"" + xml_escape(name) + "\">");
        for (int k = 0; k < 3; ++k) {
            const Vec3 &d = *axes[k];
            const double along = std::hypot(d[v.h], d[v.v]) * len * scale_;
            if (along < 4.0) {
                // axis (nearly) along the line of sight: dot toward the viewer, cross away
                auto pp = to_px(i, o);
                obstacles_[i].push_back({pp[0] - 4, pp[1] - 4, pp[0] + 4, pp[1] + 4});
                const bool toward = d[depth] * out_sign > 0;
                const std::string c = kAxisColour[k];
                std::string e = "<circle cx=\"" + num(pp[0]) + "\" cy=\"" + num(pp[1]) +
                                "\" r=\"4\" fill=\"white\" stroke=\"" + c + "\" stroke-width=\"1.5\"/>";
                if (toward)
                    e += "<circle cx=\"" + num(pp[0]) + "\" cy=\"" + num(pp[1]) + "\" r=\"1.5\" fill=\"" + c + "\"/>";
                else
                    e += "<path d=\"M" + num(pp[0] - 2.5) + "," + num(pp[1] - 2.5) + " l5,5 m0,-5 l-5,5\" stroke=\"" +
                         c + "\" stroke-width=\"1.2\"/>";
                body_[i].push_back(e);
                continue;
            }
            const Vec3 tip = {o[0] + len * d[0], o[1] + len * d[1], o[2] + len * d[2]};
            segment(i, o, tip,
                    "stroke=\"" + std::string(kAxisColour[k]) + "\" stroke-width=\"2\" marker-end=\"url(#" +
                        kAxisMarker[k] + ")\"");
        }
        body_[i].push_back("</g>");
    }
    if (!name.empty()) label(o, name, "#222222");
}

void SvgCanvas::caption(const std::vector<std::string> &lines) { caption_ = lines; }

void SvgCanvas::legend(const std::vector<std::pair<std::string, std::string>> &items) { legend_ = items; }

std::string SvgCanvas::str() const {
    const int n = static_cast<int>(views_.size());
    const int width = kMargin + n * (panel_px_ + kMargin);
    const int top = kMargin + kTitle;
    const int panels_bottom = top + panel_px_;
    const int bar_y = panels_bottom + 26;
    const int legend_y = bar_y + 26;
    const int caption_y = legend_y + (legend_.empty() ? 4 : 28);
    const int height = caption_y + kCaptionLine * static_cast<int>(caption_.size()) + 10;
    std::string s = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    s += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(width) +
         "\" height=\"" + std::to_string(height) + "\" viewBox=\"0 0 " + std::to_string(width) +
         " " + std::to_string(height) + "\" font-family=\"DejaVu Sans, Arial, sans-serif\">\n";
    s += "<defs>\n";
    for (int k = 0; k < 3; ++k)
        s += "<marker id=\"" + std::string(kAxisMarker[k]) +
             "\" viewBox=\"0 0 10 10\" refX=\"8\" refY=\"5\" markerWidth=\"5\" markerHeight=\"5\" "
             "orient=\"auto\"><path d=\"M0,0 L10,5 L0,10 z\" fill=\"" + kAxisColour[k] + "\"/></marker>\n";
    for (int i = 0; i < n; ++i)
        s += "<clipPath id=\"clip-" + std::to_string(i) + "\"><rect x=\"" + num(panel_x(i)) +
             "\" y=\"" + std::to_string(top) + "\" width=\"" + std::to_string(panel_px_) +
             "\" height=\"" + std::to_string(panel_px_) + "\"/></clipPath>\n";
    s += "</defs>\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";

    // one round length serves the scale bar and the grid spacing
    const double bar = round_length(0.25 * panel_px_ / scale_);
    static const char *axis_names = "xyz";
    for (int i = 0; i < n; ++i) {
        const View &v = views_[i];
        const double x0 = panel_x(i);
        s += "<g class=\"view\" id=\"view-" + std::to_string(i) + "\">\n";
        s += "<text class=\"view-title\" x=\"" + num(x0) + "\" y=\"" + std::to_string(top - 8) +
             "\" font-size=\"13\" font-weight=\"bold\">" + xml_escape(v.title) + " (" +
             axis_names[v.h] + " right, " + axis_names[v.v] + " up)</text>\n";
        s += "<rect class=\"panel\" x=\"" + num(x0) + "\" y=\"" + std::to_string(top) + "\" width=\"" +
             std::to_string(panel_px_) + "\" height=\"" + std::to_string(panel_px_) +
             "\" fill=\"#fbfbfb\" stroke=\"#999999\"/>\n";
        s += "<g clip-path=\"url(#clip-" + std::to_string(i) + ")\">\n<g class=\"grid\">";
        // grid lines at multiples of the bar length; the world axes darker
        const double half = 0.5 * panel_px_ / scale_;
        for (int axis = 0; axis < 2; ++axis) {
            const int w = axis == 0 ? v.h : v.v;
            for (double g = std::ceil((centre_[w] - half) / bar) * bar; g <= centre_[w] + half; g += bar) {
                Vec3 a = centre_, b = centre_;
                a[w] = b[w] = g;
                const int other = axis == 0 ? v.v : v.h;
                a[other] = centre_[other] - half;
                b[other] = centre_[other] + half;
                auto pa = to_px(i, a), pb = to_px(i, b);
                const bool origin = std::fabs(g) < 1e-9 * bar;
                s += "<line x1=\"" + num(pa[0]) + "\" y1=\"" + num(pa[1]) + "\" x2=\"" + num(pb[0]) +
                     "\" y2=\"" + num(pb[1]) + "\" stroke=\"" + (origin ? "#c4c4c4" : "#ebebeb") +
                     "\" stroke-width=\"1\"/>";
            }
        }
        s += "</g>\n";
        for (const auto &e : body_[i]) s += e + "\n";
        s += "</g>\n";

        // labels: the first free spot around the anchor, inside the panel;
        // a thin leader line when it had to move away
        std::vector<Rect> placed;
        const Rect panel{x0 + 2, static_cast<double>(top) + 2, x0 + panel_px_ - 2,
                         static_cast<double>(panels_bottom) - 2};
        for (const auto &l : labels_[i]) {
            const double w = kCharPx * static_cast<double>(l.text.size()), h = 12;
            // first pass: clear of labels and drawing; second: clear of labels
            Rect chosen{l.x + 5, l.y - 5 - h + 2, l.x + 5 + w, l.y - 3};
            bool moved = false;
            for (int pass = 0, found = 0; pass < 2 && !found; ++pass)
                for (double r : {5.0, 12.0, 20.0, 30.0, 44.0, 60.0}) {
                    const double cand[6][2] = {{l.x + r, l.y - r},         {l.x + r, l.y + r + h},
                                               {l.x - r - w, l.y - r},     {l.x - r - w, l.y + r + h},
                                               {l.x - w / 2, l.y - r - 2}, {l.x - w / 2, l.y + r + h}};
                    for (const auto &c : cand) {
                        const Rect b{c[0], c[1] - h + 2, c[0] + w, c[1] + 2};
                        bool free = b.x0 >= panel.x0 && b.x1 <= panel.x1 && b.y0 >= panel.y0 &&
                                    b.y1 <= panel.y1;
                        for (const auto &o : placed)
                            free = free && !Rect{o.x0 - 2, o.y0 - 1, o.x1 + 2, o.y1 + 1}.hits(b);
                        if (pass == 0)
                            for (const auto &o : obstacles_[i]) free = free && !o.hits(b);
                        if (free) {
                            chosen = b;
                            found = 1;
                            moved = r > 12.0;
                            break;
                        }
                    }
                    if (found) break;
                }
            placed.push_back(chosen);
            if (moved) {
                const double lx = std::clamp(l.x, chosen.x0, chosen.x1);
                const double ly = std::clamp(l.y, chosen.y0, chosen.y1);
                s += "<line class=\"leader\" x1=\"" + num(l.x) + "\" y1=\"" + num(l.y) + "\" x2=\"" +
                     num(lx) + "\" y2=\"" + num(ly) + "\" stroke=\"#888888\" stroke-width=\"0.8\"/>\n";
            }
            s += "<text class=\"label\" x=\"" + num(chosen.x0) + "\" y=\"" + num(chosen.y1 - 2) +
                 "\" font-size=\"11\" fill=\"" + l.colour +
                 "\" stroke=\"white\" stroke-width=\"3\" stroke-linejoin=\"round\" paint-order=\"stroke\">" +
                 xml_escape(l.text) + "</text>\n";
        }
        s += "</g>\n";
    }

    const double bx = kMargin, bw = bar * scale_;
    char lbl[64];
    std::snprintf(lbl, sizeof lbl, "%g m (grid spacing; same scale in every view)", bar);
    s += "<g id=\"scale-bar\"><line x1=\"" + num(bx) + "\" y1=\"" + num(bar_y) + "\" x2=\"" +
         num(bx + bw) + "\" y2=\"" + num(bar_y) + "\" stroke=\"black\" stroke-width=\"3\"/>"
         "<line x1=\"" + num(bx) + "\" y1=\"" + num(bar_y - 5) + "\" x2=\"" + num(bx) + "\" y2=\"" +
         num(bar_y + 5) + "\" stroke=\"black\" stroke-width=\"1.5\"/><line x1=\"" + num(bx + bw) +
         "\" y1=\"" + num(bar_y - 5) + "\" x2=\"" + num(bx + bw) + "\" y2=\"" + num(bar_y + 5) +
         "\" stroke=\"black\" stroke-width=\"1.5\"/><text x=\"" + num(bx + bw + 8) + "\" y=\"" +
         num(bar_y + 4) + "\" font-size=\"12\">" + lbl + "</text></g>\n";
    if (!legend_.empty()) {
        s += "<g id=\"legend\">";
        double x = kMargin;
        for (const auto &[colour, text] : legend_) {
            s += "<line x1=\"" + num(x) + "\" y1=\"" + num(legend_y - 4) + "\" x2=\"" + num(x + 16) +
                 "\" y2=\"" + num(legend_y - 4) + "\" stroke=\"" + colour +
                 "\" stroke-width=\"5\" stroke-linecap=\"round\"/><text x=\"" + num(x + 22) + "\" y=\"" +
                 num(legend_y) + "\" font-size=\"12\">" + xml_escape(text) + "</text>";
            x += 22 + 7.0 * static_cast<double>(text.size()) + 18;
        }
        s += "</g>\n";
    }
    s += "<g id=\"caption\">\n";
    for (size_t i = 0; i < caption_.size(); ++i)
        s += "<text x=\"" + std::to_string(kMargin) + "\" y=\"" +
             std::to_string(caption_y + kCaptionLine * static_cast<int>(i)) + "\" font-size=\"13\">" +
             xml_escape(caption_[i]) + "</text>\n";
    s += "</g>\n</svg>\n";
    return s;
}

}  // namespace tova_cli
