#include "output.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ctime>

namespace trova::cli {
namespace {

constexpr double kSecondsFrom1904To1970 = 2082844800.0;

// Text of a cell for people (readable) or for programs (exact).
std::string CellText(const Cell &cell, bool exact) {
    struct Visitor {
        bool exact;
        std::string operator()(std::monostate) const { return exact ? "" : "-"; }
        std::string operator()(int64_t v) const { return std::to_string(v); }
        std::string operator()(float v) const { return exact ? Shortest(v) : Readable(v); }
        std::string operator()(double v) const { return exact ? Shortest(v) : Readable(v); }
        std::string operator()(const std::string &v) const { return v; }
        std::string operator()(Time t) const {
            std::string iso = IsoTime(t.seconds);
            if (!exact && iso.size() > 1) iso = iso.substr(0, 10) + " " + iso.substr(11, 12);
            return iso;
        }
        static std::string Readable(double v) {
            char text[32];
            std::snprintf(text, sizeof text, "%.6g", v);
            return text;
        }
    };
    return std::visit(Visitor{exact}, cell);
}

nlohmann::ordered_json CellJson(const Cell &cell) {
    struct Visitor {
        nlohmann::ordered_json operator()(std::monostate) const { return nullptr; }
        nlohmann::ordered_json operator()(int64_t v) const { return v; }
        // Non-finite values have no JSON number: they become null.
        nlohmann::ordered_json operator()(float v) const {
            return std::isfinite(v) ? nlohmann::ordered_json::parse(Shortest(v)) : nlohmann::ordered_json();
        }
        nlohmann::ordered_json operator()(double v) const {
            return std::isfinite(v) ? nlohmann::ordered_json::parse(Shortest(v)) : nlohmann::ordered_json();
        }
        nlohmann::ordered_json operator()(const std::string &v) const { return v; }
        nlohmann::ordered_json operator()(Time t) const { return IsoTime(t.seconds); }
    };
    return std::visit(Visitor{}, cell);
}

std::string CsvField(const std::string &text) {
    if (text.find_first_of(",\"\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

void WriteReadable(const Report &report, std::FILE *out) {
    for (const std::string &note : report.notes) std::fprintf(out, "%s\n", note.c_str());
    for (const Table &table : report.tables) {
        if (table.rows.empty()) continue;
        std::vector<size_t> width(table.columns.size());
        for (size_t c = 0; c < table.columns.size(); ++c) width[c] = table.columns[c].title.size();
        std::vector<std::vector<std::string>> texts;
        for (const auto &row : table.rows) {
            texts.emplace_back();
            for (size_t c = 0; c < row.size() && c < width.size(); ++c) {
                texts.back().push_back(CellText(row[c], false));
                width[c] = std::max(width[c], texts.back().back().size());
            }
        }
        std::fprintf(out, "\n");
        for (size_t c = 0; c < width.size(); ++c) {
            std::fprintf(out, "%s%*s", c ? "  " : "", int(width[c]), table.columns[c].title.c_str());
        }
        std::fprintf(out, "\n");
        for (const auto &row : texts) {
            for (size_t c = 0; c < row.size(); ++c) {
                // Bars and text left-aligned, numbers right-aligned.
                const bool left = !row[c].empty() && (row[c][0] == '#' || row[c][0] == '|');
                std::fprintf(out, "%s%*s", c ? "  " : "", left ? -int(width[c]) : int(width[c]),
                             row[c].c_str());
            }
            std::fprintf(out, "\n");
        }
    }
}

void WriteCsv(const Report &report, std::FILE *out) {
    bool first = true;
    for (const Table &table : report.tables) {
        if (!first) std::fprintf(out, "\n");
        first = false;
        for (size_t c = 0; c < table.columns.size(); ++c) {
            std::fprintf(out, "%s%s", c ? "," : "", CsvField(table.columns[c].name).c_str());
        }
        std::fprintf(out, "\n");
        for (const auto &row : table.rows) {
            for (size_t c = 0; c < row.size(); ++c) {
                std::fprintf(out, "%s%s", c ? "," : "", CsvField(CellText(row[c], true)).c_str());
            }
            std::fprintf(out, "\n");
        }
    }
}

void WriteJson(const Report &report, std::FILE *out) {
    nlohmann::ordered_json j;
    j["command"] = report.command;
    if (!report.reader.empty()) j["reader"] = report.reader;
    j["arguments"] = report.arguments;
    if (report.called) {
        j["status"] = {{"code", report.status}, {"meaning", StatusMeaning(report.status)}};
        j["result"] = report.result;
    }
    if (!report.summary.empty()) j["summary"] = report.summary;
    for (const Table &table : report.tables) {
        nlohmann::ordered_json rows = nlohmann::ordered_json::array();
        for (const auto &row : table.rows) {
            nlohmann::ordered_json object = nlohmann::ordered_json::object();
            for (size_t c = 0; c < row.size() && c < table.columns.size(); ++c) {
                object[table.columns[c].name] = CellJson(row[c]);
            }
            rows.push_back(std::move(object));
        }
        j[table.name] = std::move(rows);
    }
    std::fprintf(out, "%s\n", j.dump(2).c_str());
}

}  // namespace

const char *StatusMeaning(int status) {
    switch (status) {
        case 0: return "ok";
        case 1: return "cancelled: the result is partial";
        case 2: return "the value selector was out of range: the first one was read";
        case 3: return "no usable recording file";
        case 4: return "the quantity was out of range: a default quantity was read";
        case 5: return "no power block: a quantity without powers was read";
        case 6: return "another reader call was running on this thread";
        default: return "unknown status";
    }
}

std::string IsoTime(double seconds) {
    if (!std::isfinite(seconds)) return "-";
    const double unix = seconds - kSecondsFrom1904To1970;
    const double whole = std::floor(unix);
    long long millis = std::llround((unix - whole) * 1000.0);
    std::time_t t = static_cast<std::time_t>(whole) + static_cast<std::time_t>(millis / 1000);
    millis %= 1000;
    std::tm tm{};
    if (gmtime_r(&t, &tm) == nullptr) return "-";
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03lldZ", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, millis);
    return text;
}

std::string Shortest(double value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return std::string(text, end);
}

std::string Shortest(float value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return std::string(text, end);
}

void Write(const Report &report, Format format, std::FILE *out) {
    switch (format) {
        case Format::kTable: WriteReadable(report, out); break;
        case Format::kCsv: WriteCsv(report, out); break;
        case Format::kJson: WriteJson(report, out); break;
    }
    std::fflush(out);
}

}  // namespace trova::cli
