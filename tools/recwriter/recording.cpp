// Whole recordings: member names, time assignment, damaged members and the
// writer's account of what it produced.
#include "recording_writer.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

namespace trova::rec {

namespace {

void require(bool ok, const char* what) {
    if (!ok) throw std::invalid_argument(std::string("recwriter: ") + what);
}

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

struct Item {
    const MemberPlan* plan;
    std::string name;
    bool member;
};

// Applies the byte-level damage to an encoded file. `tableEnd` is the offset
// just past the size table, `dataLength` the bytes of encoded records.
void damageBytes(Bytes& bytes, const MemberPlan& m, std::int32_t R, std::size_t tableEnd,
                 std::size_t dataLength) {
    const int d = m.damageBytes;
    switch (m.damage) {
    case Damage::TruncatedData:
        require(d > 0 && d % R != 0 && static_cast<std::size_t>(d) < dataLength,
                "truncation must cut 1..data-1 bytes and not a whole number of records");
        bytes.resize(bytes.size() - static_cast<std::size_t>(d));
        break;
    case Damage::PaddedData:
        require(d > 0 && d % R != 0, "padding must not be a whole number of records");
        bytes.resize(bytes.size() + static_cast<std::size_t>(d), 0);
        break;
    case Damage::Empty:
        bytes.clear();
        break;
    case Damage::ShortHeader:
        require(d > 0 && static_cast<std::size_t>(d) <= tableEnd, "short header cut out of range");
        bytes.resize(tableEnd - static_cast<std::size_t>(d));
        break;
    default:
        break;
    }
}

int recordsWritten(const MemberPlan& m) {
    require(m.records >= 0, "negative record count");
    switch (m.damage) {
    case Damage::NoRecords:
    case Damage::Empty:
    case Damage::ShortHeader:
        return 0;
    case Damage::ReversedTimes:
        return std::max(m.records, 2);
    case Damage::None:
        return m.records;
    default:
        return std::max(m.records, 1);
    }
}

}  // namespace

FlagFn everyKth(int k, std::int32_t word, int offset) {
    require(k >= 1, "flag period must be >= 1");
    return [=](int record) { return record % k == offset ? word : 0; };
}

bool matchesRecording(const std::string& name, const std::string& stem, const std::string& extension) {
    const std::string n = lower(name), s = lower(stem) + ".", e = lower(extension);
    return n.size() >= s.size() + e.size() && n.compare(0, s.size(), s) == 0 &&
           n.compare(n.size() - e.size(), e.size(), e) == 0;
}

std::string RecordingPlan::numberedName(int number) const {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%0*d", numberWidth, number);
    return stem + "." + digits + extension;
}

std::string RecordingPlan::decoyName(Decoy decoy) const {
    switch (decoy) {
    case Decoy::NoMiddle:
        return stem + extension;
    case Decoy::OtherStem:
        return stem + "x" + numberedName(firstNumber).substr(stem.size());
    case Decoy::OtherExtension: {
        const std::string name = numberedName(firstNumber);
        return name.substr(0, name.size() - extension.size()) + (lower(extension) == ".bak" ? ".old" : ".bak");
    }
    }
    return {};
}

MemberPlan& RecordingPlan::add(int records, double gapBefore) {
    members.emplace_back();
    members.back().records = records;
    members.back().gapBefore = gapBefore;
    return members.back();
}

MemberPlan& RecordingPlan::addNamed(const std::string& name, int records) {
    MemberPlan& m = add(records);
    m.name = name;
    return m;
}

MemberPlan& RecordingPlan::addDamaged(Damage damage, int records) {
    MemberPlan& m = add(records);
    m.damage = damage;
    return m;
}

MemberPlan& RecordingPlan::addRaw(const std::string& name, Bytes bytes) {
    MemberPlan& m = addNamed(name, 0);
    m.raw = std::move(bytes);
    return m;
}

std::vector<MemberInfo> RecordingInfo::table() const {
    std::vector<MemberInfo> out;
    for (const auto& f : files)
        if (f.inTable()) out.push_back(f);
    return out;
}

std::uint64_t RecordingInfo::totalRecords() const {
    std::uint64_t n = 0;
    for (const auto& f : table()) n += static_cast<std::uint64_t>(f.records);
    return n;
}

const MemberInfo* RecordingInfo::find(const std::string& name) const {
    for (const auto& f : files)
        if (f.name == name) return &f;
    return nullptr;
}

std::string RecordingInfo::path(const MemberInfo& file) const {
    return (std::filesystem::path(directory) / file.name).string();
}

Recording buildRecording(const RecordingPlan& plan) {
    std::vector<Item> items;
    int number = plan.firstNumber;
    std::set<std::string> seen;
    for (const auto& m : plan.members) {
        Item it{&m, m.name.empty() ? plan.numberedName(number++) : m.name, false};
        require(!it.name.empty() && it.name.find_first_of("/\\") == std::string::npos, "bad member name");
        require(seen.insert(lower(it.name)).second, "duplicate member name (letter case ignored)");
        it.member = matchesRecording(it.name, plan.stem, plan.extension);
        items.push_back(std::move(it));
    }
    // Byte-wise order, as the readers sort their file list.
    std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) { return a.name < b.name; });

    const TrendValueFn trendValues = plan.trendValues ? plan.trendValues : TrendValueFn(SeededValues(plan.seed));
    const HarmonicValueFn harmonicValues =
        plan.harmonicValues ? plan.harmonicValues : HarmonicValueFn(SeededValues(plan.seed));
    auto flagOf = [&](int record) { return plan.flags ? plan.flags(record) : 0; };

    Recording out;
    out.info.files.resize(items.size());
    out.contents.resize(items.size());
    int nextRecord = 0;
    double gaps = 0.0;
    // Members take the first times in name order; decoys follow.
    for (bool memberPass : {true, false}) {
        for (std::size_t i = 0; i < items.size(); ++i) {
            const Item& it = items[i];
            if (it.member != memberPass) continue;
            const MemberPlan& m = *it.plan;
            MemberInfo& info = out.info.files[i];
            Bytes& bytes = out.contents[i];
            info.name = it.name;
            info.member = it.member;
            if (m.raw) {
                info.raw = true;
                bytes = *m.raw;
                info.fileSize = bytes.size();
                continue;
            }
            const int n = recordsWritten(m);
            gaps += m.gapBefore;
            std::vector<double> times(static_cast<std::size_t>(n));
            for (int j = 0; j < n; ++j)
                times[static_cast<std::size_t>(j)] = plan.startTime + gaps + (nextRecord + j) * plan.interval;
            if (m.damage == Damage::ZeroFirstTime) times.front() = 0.0;
            if (m.damage == Damage::ReversedTimes) std::swap(times.front(), times.back());

            std::size_t tableEnd;
            if (plan.kind == Kind::Trend) {
                const TrendFormat f = m.trend.value_or(plan.trend);
                std::vector<TrendRecord> recs;
                for (int j = 0; j < n; ++j)
                    recs.push_back(makeTrendRecord(f, nextRecord + j, times[static_cast<std::size_t>(j)],
                                                   flagOf(nextRecord + j), trendValues));
                bytes = trendFileBytes(f, recs);
                info.headerLength = f.headerLength();
                info.recordLength = f.recordLength();
                tableEnd = 16 + 4 * f.sizeTable().size();
            } else {
                const HarmonicFormat f = m.harmonic.value_or(plan.harmonic);
                std::vector<HarmonicRecord> recs;
                for (int j = 0; j < n; ++j)
                    recs.push_back(makeHarmonicRecord(f, nextRecord + j, times[static_cast<std::size_t>(j)],
                                                      flagOf(nextRecord + j), harmonicValues));
                bytes = harmonicFileBytes(f, recs);
                info.headerLength = f.headerLength();
                info.recordLength = f.recordLength();
                info.harmonics = f.harmonics;
                tableEnd = 4 + 4 * f.sizeTable().size();
            }
            damageBytes(bytes, m, info.recordLength, tableEnd,
                        static_cast<std::size_t>(n) * static_cast<std::size_t>(info.recordLength));
            info.records = n;
            info.firstRecord = nextRecord;
            if (n > 0) {
                info.firstTime = times.front();
                info.lastTime = times.back();
            }
            const bool geometry = m.damage != Damage::TruncatedData && m.damage != Damage::PaddedData &&
                                  m.damage != Damage::Empty && m.damage != Damage::ShortHeader;
            info.usable = geometry && n > 0 && info.firstTime != 0.0 && info.lastTime != 0.0 &&
                          info.firstTime <= info.lastTime;
            info.fileSize = bytes.size();
            nextRecord += n;
        }
    }
    return out;
}

void writeBytes(const std::string& path, const Bytes& bytes) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!f) throw std::runtime_error("recwriter: cannot write " + path);
}

RecordingInfo writeRecording(const std::string& directory, const RecordingPlan& plan) {
    Recording rec = buildRecording(plan);
    rec.info.directory = directory;
    std::filesystem::create_directories(directory);
    for (std::size_t i = 0; i < rec.contents.size(); ++i)
        writeBytes(rec.info.path(rec.info.files[i]), rec.contents[i]);
    return rec.info;
}

}  // namespace trova::rec
