// The one output layer of the trova command: every view describes what it
// found as a Report (the call's arguments, its status and result, notes for
// people, tables of named columns) and this layer writes it as a readable
// table, as CSV or as JSON.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

namespace trova::cli {

enum class Format { kTable, kCsv, kJson };

// A record time: seconds since 1904-01-01 00:00:00 UTC.
struct Time {
    double seconds;
};

using Cell = std::variant<std::monostate, int64_t, float, double, std::string, Time>;

struct Column {
    std::string name;  // CSV/JSON key, unit included where there is one ("time_utc")
    std::string title; // heading of the readable table
};

struct Table {
    std::string name;  // JSON key
    std::vector<Column> columns;
    std::vector<std::vector<Cell>> rows;
};

struct Report {
    std::string command;
    std::string reader;             // the export called, empty for none
    nlohmann::ordered_json arguments = nlohmann::ordered_json::object();
    bool called = false;            // status and result below are a reader's
    int status = 0;
    int64_t result = 0;
    nlohmann::ordered_json summary = nlohmann::ordered_json::object();  // named figures of the call
    std::vector<std::string> notes; // lines for people, shown before the tables
    std::vector<Table> tables;
};

// What a reader status means, in words.
const char *StatusMeaning(int status);

// ISO 8601 UTC with milliseconds ("2024-01-31T12:00:00.000Z"); "-" when the
// time cannot be shown.
std::string IsoTime(double seconds);

// The shortest decimal text that reads back as the same value.
std::string Shortest(double value);
std::string Shortest(float value);

// Writes the report: a readable table (notes, then each table with its
// headings), CSV (each table with a header row; tables apart by an empty
// line) or one JSON object.
void Write(const Report &report, Format format, std::FILE *out);

}  // namespace trova::cli
