// The timeline's chart: an SVG document with the replayed time across, one
// row per scheme, the night shaded, the scheme in force as a step line and
// a mark (class "switch") at every switch.
#include <algorithm>
#include <string>

#include <tinyxml.h>

#include "tools/sensorctl/Output.h"
#include "tools/sensorctl/Timeline.h"

namespace sensorctl {

namespace {

const double kLeft = 80;
const double kRight = 20;
const double kTop = 40;
const double kBottom = 40;
const double kPlotWidth = 960;
const double kRowHeight = 36;

// Text as XML character data (TinyXML's encoding of & < > " ').
std::string escapeXml(const std::string& p_strText) {
    TIXML_STRING strOut;
    TiXmlBase::EncodeString(p_strText, &strOut);
    return strOut;
}

// Places replayed moments on the chart.
class ChartScale {
public:
    ChartScale(const TimelineRange& p_stRange, int p_nTopScheme)
        : m_stRange(p_stRange), m_nTopScheme(p_nTopScheme),
          m_dTotal(static_cast<double>(p_stRange.days) * (p_stRange.toMinute - p_stRange.fromMinute)) {}
    // x of a minute of a day.
    double x(int p_nDay, int p_nMinute) const {
        const double dAt = static_cast<double>(p_nDay) * (m_stRange.toMinute - m_stRange.fromMinute) +
                           (p_nMinute - m_stRange.fromMinute);
        return kLeft + kPlotWidth * dAt / m_dTotal;
    }
    // y of the middle of a scheme's row (the highest scheme on top).
    double y(int p_nScheme) const { return kTop + (m_nTopScheme - p_nScheme) * kRowHeight + kRowHeight / 2; }
    double plotHeight() const { return (m_nTopScheme + 1) * kRowHeight; }

private:
    const TimelineRange& m_stRange;
    int m_nTopScheme;
    double m_dTotal;
};

} // namespace

std::string timelineSvg(const TimelineResult& p_stResult) {
    const TimelineRange& range = p_stResult.range;
    int nTop = std::max(0, p_stResult.start.to);
    for (const TimelineSample& stSample : p_stResult.samples) {
        nTop = std::max(nTop, stSample.scheme);
    }
    const ChartScale objScale(range, nTop);
    const double dWidth = kLeft + kPlotWidth + kRight;
    const double dHeight = kTop + objScale.plotHeight() + kBottom;
    const double dBottom = kTop + objScale.plotHeight();
    const std::vector<TimelineSample>& samples = p_stResult.samples;
    // The moment after sample i (the end of the replay after the last).
    auto endX = [&](size_t i) {
        return i + 1 < samples.size() ? objScale.x(samples[i + 1].day, samples[i + 1].minute)
                                      : objScale.x(range.days - 1, range.toMinute);
    };

    std::string svg = format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                             "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" "
                             "viewBox=\"0 0 %.0f %.0f\" font-family=\"sans-serif\" font-size=\"11\">\n",
                             dWidth, dHeight, dWidth, dHeight);
    svg += format("<title>Schemes of channel %d, %s to %s, %d day%s</title>\n", p_stResult.channel,
                  minuteText(range.fromMinute).c_str(), minuteText(range.toMinute).c_str(), range.days,
                  range.days == 1 ? "" : "s");
    svg += format("<text x=\"%.0f\" y=\"20\" font-size=\"13\">Scheme in force, channel %d (%s policy%s)</text>\n",
                  kLeft, p_stResult.channel, tarnix::schemePolicyName(p_stResult.start.policy),
                  p_stResult.start.lprDevice ? ", plate recognition" : "");

    // Night: one shaded band per run of night moments.
    svg += "<g class=\"nights\" fill=\"#1f2a44\" fill-opacity=\"0.18\">\n";
    for (size_t i = 0; i < samples.size();) {
        if (samples[i].dayNight == 0) {
            ++i;
            continue;
        }
        size_t j = i;
        while (j + 1 < samples.size() && samples[j + 1].dayNight != 0) {
            ++j;
        }
        const double dX = objScale.x(samples[i].day, samples[i].minute);
        svg += format("<rect class=\"night\" x=\"%.2f\" y=\"%.0f\" width=\"%.2f\" height=\"%.0f\"/>\n", dX, kTop,
                      endX(j) - dX, objScale.plotHeight());
        i = j + 1;
    }
    svg += "</g>\n";

    // Rows and their labels.
    svg += "<g class=\"rows\" stroke=\"#cccccc\">\n";
    for (int s = 0; s <= nTop; ++s) {
        svg += format("<line x1=\"%.0f\" y1=\"%.1f\" x2=\"%.0f\" y2=\"%.1f\"/>\n", kLeft, objScale.y(s),
                      kLeft + kPlotWidth, objScale.y(s));
        svg += format("<text x=\"%.0f\" y=\"%.1f\" text-anchor=\"end\" stroke=\"none\" fill=\"#333333\">scheme "
                      "%d</text>\n",
                      kLeft - 8, objScale.y(s) + 4, s);
    }
    svg += "</g>\n";

    // Time axis: a tick every hour of a day's replay (every 6 hours over several days).
    const int nTickEvery = range.days > 1 ? 360 : 60;
    svg += "<g class=\"axis\" stroke=\"#888888\">\n";
    svg += format("<line x1=\"%.0f\" y1=\"%.0f\" x2=\"%.0f\" y2=\"%.0f\"/>\n", kLeft, dBottom, kLeft + kPlotWidth,
                  dBottom);
    for (int d = 0; d < range.days; ++d) {
        for (int m = ((range.fromMinute + nTickEvery - 1) / nTickEvery) * nTickEvery; m <= range.toMinute;
             m += nTickEvery) {
            if (d > 0 && m == range.fromMinute) {
                continue; // the end of the day before
            }
            const double dX = objScale.x(d, m);
            const bool bLabel = range.days > 1 || (m / 60) % 2 == 0;
            svg += format("<line x1=\"%.2f\" y1=\"%.0f\" x2=\"%.2f\" y2=\"%.0f\"/>\n", dX, dBottom, dX, dBottom + 4);
            if (bLabel) {
                svg += format("<text x=\"%.2f\" y=\"%.0f\" text-anchor=\"middle\" stroke=\"none\" "
                              "fill=\"#333333\">%s%s</text>\n",
                              dX, dBottom + 16, range.days > 1 ? format("d%d ", d).c_str() : "",
                              minuteText(m).c_str());
            }
        }
    }
    svg += "</g>\n";

    // The scheme in force, as a step line.
    std::string strPoints;
    for (size_t i = 0; i < samples.size(); ++i) {
        const double dY = objScale.y(samples[i].scheme);
        strPoints += format("%.2f,%.1f %.2f,%.1f ", objScale.x(samples[i].day, samples[i].minute), dY, endX(i), dY);
    }
    svg += "<polyline class=\"scheme\" fill=\"none\" stroke=\"#1565c0\" stroke-width=\"2\" points=\"" + strPoints +
           "\"/>\n";

    // One mark per switch, its reason as a tooltip.
    svg += "<g class=\"switches\" fill=\"#d84315\">\n";
    for (const TimelineChange& stChange : p_stResult.changes) {
        const tarnix::DecisionRecord& r = stChange.record;
        svg += format("<circle class=\"switch\" cx=\"%.2f\" cy=\"%.1f\" r=\"4\"><title>", objScale.x(stChange.day,
                                                                                                   stChange.minute),
                      objScale.y(r.to)) +
               escapeXml(timelineChangeLine(p_stResult, stChange)) + "</title></circle>\n";
    }
    svg += "</g>\n</svg>\n";
    return svg;
}

} // namespace sensorctl
