#include "svg.hpp"

#include <cmath>
#include <cstdio>

namespace tova_cli {

namespace {
std::string num(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", v);
    return buf;
}
constexpr int kMargin = 30;    // px around each panel
constexpr int kCaptionLine = 18;
}  // namespace

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
    : panel_px_(panel_px), views_(views), centre_(centre), extent_(extent_m) {
    scale_ = panel_px / (2.0 * (extent_m > 1e-6 ? extent_m : 1.0));
}

std::array<double, 2> SvgCanvas::to_px(size_t view, const Vec3 &p) const {
    const View &v = views_[view];
    const double ox = kMargin + view * (panel_px_ + 2 * kMargin) + panel_px_ / 2.0;
    const double oy = kMargin + 20 + panel_px_ / 2.0;
    return {ox + (p[v.h] - centre_[v.h]) * scale_, oy - (p[v.v] - centre_[v.v]) * scale_};
}

void SvgCanvas::line(const Vec3 &a, const Vec3 &b, const char *colour, double width, double opacity) {
    for (size_t i = 0; i < views_.size(); ++i) {
        auto pa = to_px(i, a), pb = to_px(i, b);
        body_.push_back("<line x1=\"" + num(pa[0]) + "\" y1=\"" + num(pa[1]) + "\" x2=\"" +
                        num(pb[0]) + "\" y2=\"" + num(pb[1]) + "\" stroke=\"" + colour +
                        "\" stroke-width=\"" + num(width) + "\" stroke-opacity=\"" + num(opacity) +
                        "\" stroke-linecap=\"round\"/>");
    }
}

void SvgCanvas::dot(const Vec3 &p, double radius, const char *colour, double opacity) {
    for (size_t i = 0; i < views_.size(); ++i) {
        auto pp = to_px(i, p);
        body_.push_back("<circle cx=\"" + num(pp[0]) + "\" cy=\"" + num(pp[1]) + "\" r=\"" +
                        num(radius) + "\" fill=\"" + colour + "\" fill-opacity=\"" + num(opacity) +
                        "\"/>");
    }
}

void SvgCanvas::label(const Vec3 &p, const std::string &text, const char *colour) {
    for (size_t i = 0; i < views_.size(); ++i) {
        auto pp = to_px(i, p);
        body_.push_back("<text x=\"" + num(pp[0] + 4) + "\" y=\"" + num(pp[1] - 4) +
                        "\" font-size=\"11\" fill=\"" + colour + "\">" + xml_escape(text) +
                        "</text>");
    }
}

void SvgCanvas::triad(const Vec3 &o, const Vec3 &x, const Vec3 &y, const Vec3 &z, double len,
                      const std::string &name) {
    auto tip = [&](const Vec3 &d) { return Vec3{o[0] + len * d[0], o[1] + len * d[1], o[2] + len * d[2]}; };
    line(o, tip(x), "#d62728", 2.0);
    line(o, tip(y), "#2ca02c", 2.0);
    line(o, tip(z), "#1f77b4", 2.0);
    if (!name.empty()) label(o, name, "#333333");
}

void SvgCanvas::caption(const std::vector<std::string> &lines) { caption_ = lines; }

std::string SvgCanvas::str() const {
    const int width = static_cast<int>(views_.size()) * (panel_px_ + 2 * kMargin);
    const int panels_h = panel_px_ + 2 * kMargin + 20;
    const int height = panels_h + 40 + kCaptionLine * static_cast<int>(caption_.size());
    std::string s = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    s += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(width) +
         "\" height=\"" + std::to_string(height) + "\" viewBox=\"0 0 " + std::to_string(width) +
         " " + std::to_string(height) + "\" font-family=\"sans-serif\">\n";
    s += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    static const char *axis_names = "xyz";
    for (size_t i = 0; i < views_.size(); ++i) {
        const int x0 = kMargin + static_cast<int>(i) * (panel_px_ + 2 * kMargin);
        s += "<rect x=\"" + std::to_string(x0) + "\" y=\"" + std::to_string(kMargin + 20) +
             "\" width=\"" + std::to_string(panel_px_) + "\" height=\"" + std::to_string(panel_px_) +
             "\" fill=\"#fafafa\" stroke=\"#999999\"/>\n";
        s += "<text x=\"" + std::to_string(x0) + "\" y=\"" + std::to_string(kMargin + 12) +
             "\" font-size=\"13\" font-weight=\"bold\">" + xml_escape(views_[i].title) + " (" +
             axis_names[views_[i].h] + " right, " + axis_names[views_[i].v] + " up)</text>\n";
    }
    for (const auto &e : body_) s += e + "\n";
    // scale bar: a round length near a quarter of the panel
    const double target = 0.25 * panel_px_ / scale_;
    const double p10 = std::pow(10.0, std::floor(std::log10(target)));
    double bar = p10;
    for (double m : {2.0, 5.0, 10.0})
        if (m * p10 <= target) bar = m * p10;
    const double bx = kMargin, by = panels_h + 12, bw = bar * scale_;
    s += "<g id=\"scale-bar\"><line x1=\"" + num(bx) + "\" y1=\"" + num(by) + "\" x2=\"" +
         num(bx + bw) + "\" y2=\"" + num(by) + "\" stroke=\"black\" stroke-width=\"3\"/>";
    char lbl[48];
    std::snprintf(lbl, sizeof lbl, "%g m", bar);
    s += "<text x=\"" + num(bx + bw + 8) + "\" y=\"" + num(by + 4) + "\" font-size=\"12\">" + lbl +
         "</text></g>\n";
    s += "<g id=\"caption\">\n";
    for (size_t i = 0; i < caption_.size(); ++i)
        s += "<text x=\"" + std::to_string(kMargin) + "\" y=\"" +
             std::to_string(panels_h + 40 + kCaptionLine * static_cast<int>(i)) +
             "\" font-size=\"13\">" + xml_escape(caption_[i]) + "</text>\n";
    s += "</g>\n</svg>\n";
    return s;
}

}  // namespace tova_cli
