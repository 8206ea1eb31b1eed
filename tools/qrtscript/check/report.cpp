#include "tools/qrtscript/check/report.h"

#include <iterator>

static const char *const format_names[] = {"text", "gcc", "json", "sarif", "github"};

std::optional<ReportFormat> report_format_named(std::string_view name) {
    for (size_t place = 0; place < std::size(format_names); ++place)
        if (name == format_names[place]) return static_cast<ReportFormat>(place);
    return {};
}

std::string report(const CheckResult &result, ReportFormat format, bool colour) {
    switch (format) {
        case ReportFormat::gcc:
            return report_gcc(result);
        case ReportFormat::json:
            return report_json(result);
        case ReportFormat::sarif:
            return report_sarif(result);
        case ReportFormat::github:
            return report_github(result);
        case ReportFormat::text:
            break;
    }
    return report_text(result, colour);
}
