#include "Report.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace bench {

namespace {

/** printf into a string. */
[[gnu::format(printf, 1, 2)]] std::string Text(const char* format, ...)
{
    char text[160];
    va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return text;
}

std::string Time(double nanoseconds)
{
    if (std::abs(nanoseconds) < 1e3) return Text("%.0f ns", nanoseconds);
    if (std::abs(nanoseconds) < 1e6) return Text("%.1f us", nanoseconds / 1e3);
    return Text("%.2f ms", nanoseconds / 1e6);
}

std::string Told(bool isReached)
{
    return isReached ? "reached" : "NOT reached";
}

std::string Told(const Comparison& one)
{
    const Verdict verdict = one.Judged();
    if (verdict == Verdict::NotTold) return Text("not told, the ratio can be wrong by %.3f", one.Doubt());
    const bool byItself = one.Ratio() <= one.limit && one.Doubt() <= one.limit - 1;
    if (verdict == Verdict::NotReached || byItself) return Told(verdict == Verdict::Reached);
    return Text("reached, inside the spread of the two runs (%.3f)", one.SpreadOfFloors());
}

/** What the library takes more than its floor, and the parts of that. */
void PrintParts(std::ostream& out, const std::vector<Part>& parts)
{
    const auto print = [&](const Part& part) {
        out << part.name << ' ' << Time(part.nanoseconds) << " +-" << Time(part.spread);
    };
    out << "    ";
    print(parts.back());
    for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
        out << (i == 0 ? ": " : ", ");
        print(parts[i]);
    }
    out << '\n';
}

void PrintComparison(std::ostream& out, const Comparison& one)
{
    const Measured& library = *one.Find("library");
    const bool isAgainstFloor = one.against == "floor";
    out << one.what << "\n    library " << Time(library.median) << " +-" << Time(library.spread);
    for (const Measured& other : one.measured) {
        if (&other == &library) continue;
        out << "; " << other.role << ' ' << Time(other.median);
        if (other.isAlternative) out << Text(", ratio %.3f +-%.3f", other.ratio, other.ratioSpread);
        if (other.role == one.against && !isAgainstFloor) out << Text(" (itself %.3f of the floor)", other.overFloor);
    }
    out << Text("\n    aim: at most %.2f of ", one.limit) << one.against;
    if (one.orInsideSpread) out << " or inside the spread of two runs of it";
    out << (one.syncs == -1 ? ": " : ", and one sync: ") << Told(one) << '\n';
    if (!one.parts.empty()) PrintParts(out, one.parts);
}

void PrintMemory(std::ostream& out, const MemoryOverTime& one)
{
    const MemorySample& first = one.samples.front();
    out << one.what << ", bytes more than after the first " << first.operations << '\n';
    for (const MemorySample& sample : one.samples) {
        if (sample.operations == first.operations) continue;
        out << Text("%12ld  heap %+ld, resident %+ld\n", sample.operations, sample.heap - first.heap,
                    sample.resident - first.resident);
    }
    out << "    aim: flat: " << Told(one.IsFlat());
    if (!one.IsFlat() && !one.rest.empty()) out << ": " << one.rest;
    out << '\n';
}

void PrintGrowth(std::ostream& out, const Growth& one)
{
    out << one.what << '\n';
    for (const GrowthOf& role : one.roles) {
        out << "    " << role.role << Text(": exponent %.3f +-%.3f;", role.exponent, role.spread);
        for (std::size_t i = 0; i < one.records.size(); ++i) {
            out << Text(" %d: %s", one.records[i], Time(role.nanoseconds[i]).c_str());
        }
        out << '\n';
    }
    out << Text("    aim: 1.0 +-%.2f: ", kGrowthTolerance) << Told(one.IsReached()) << '\n';
}

void PrintInstructions(std::ostream& out, const Instructions& one)
{
    out << one.what << '\n';
    for (const Count& count : one.counts) {
        out << Text("%12ld +-%ld  ", count.instructions, count.spread) << count.role
            << Text(", %ld allocations", count.allocations);
        if (count.own != 0) out << Text("; the library's own code: %ld", count.own);
        if (count.own != 0 && one.ownPerRecord != 0) out << Text(", %.0f for each record more", one.ownPerRecord);
        out << '\n';
    }
}

void PrintSize(std::ostream& out, const LibrarySize& one)
{
    out << one.name << Text(": text %lu bytes, data %lu bytes, %lu relocations\n", one.text, one.data, one.relocations);
    if (one.HasAim()) out << Text("    aim: text at most %lu bytes: ", kTextLimit) << Told(one.IsReached()) << '\n';
}

template <typename Rows, typename Print>
void PrintSection(std::ostream& out, const char* title, const Rows& rows, Print print)
{
    if (rows.empty()) return;
    out << '\n' << title << '\n';
    for (const auto& row : rows) print(out, row);
}

}  // namespace

void PrintTable(std::ostream& out, const Results& results)
{
    PrintSection(out, "Times: medians, +- half the distance of the quartiles", results.comparisons, PrintComparison);
    PrintSection(out, "Memory", results.memory, PrintMemory);
    PrintSection(out, "Growth of the processor time with the records of a file", results.growth, PrintGrowth);
    PrintSection(out, "Instructions", results.instructions, PrintInstructions);
    PrintSection(out, "Library, stripped", results.sizes, PrintSize);
}

namespace {

using Json = nlohmann::ordered_json;

Json JsonOf(const MemoryOverTime& one)
{
    Json row{{"what", one.what}, {"flat", one.IsFlat()}, {"rest", one.rest}};
    for (const MemorySample& sample : one.samples) {
        row["samples"].push_back(
            {{"operations", sample.operations}, {"heap_bytes", sample.heap}, {"resident_bytes", sample.resident}});
    }
    return row;
}

Json JsonOf(const Growth& one)
{
    Json row{{"what", one.what},
             {"records", one.records},
             {"least_exponent", 1 - kGrowthTolerance},
             {"greatest_exponent", 1 + kGrowthTolerance},
             {"reached", one.IsReached()}};
    for (const GrowthOf& role : one.roles) {
        row["roles"].push_back({{"role", role.role},
                                {"exponent", role.exponent},
                                {"spread", role.spread},
                                {"median_ns", role.nanoseconds}});
    }
    return row;
}

Json JsonOf(const Instructions& one)
{
    Json row{{"what", one.what}, {"own_per_record", one.ownPerRecord}};
    for (const Count& count : one.counts) {
        row["counts"].push_back({{"role", count.role},
                                 {"instructions", count.instructions},
                                 {"spread", count.spread},
                                 {"own", count.own},
                                 {"allocations", count.allocations}});
    }
    return row;
}

Json JsonOf(const LibrarySize& one)
{
    Json row{{"library", one.name},
             {"text_bytes", one.text},
             {"data_bytes", one.data},
             {"relocations", one.relocations}};
    if (one.HasAim()) {
        row["text_limit"] = kTextLimit;
        row["reached"] = one.IsReached();
    }
    return row;
}

}  // namespace

void PrintJson(std::ostream& out, const Results& results)
{
    Json all;
    all["comparisons"] = Json::parse(Written(results.comparisons));
    for (const MemoryOverTime& one : results.memory) all["memory"].push_back(JsonOf(one));
    for (const Growth& one : results.growth) all["growth"].push_back(JsonOf(one));
    for (const Instructions& one : results.instructions) all["instructions"].push_back(JsonOf(one));
    for (const LibrarySize& one : results.sizes) all["sizes"].push_back(JsonOf(one));
    out << all.dump(2) << '\n';
}

}  // namespace bench
