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

std::string Verdict(const Comparison& one)
{
    if (!one.IsSteady()) return Text("not told, the times are too unsteady (the two runs: %.3f)", one.SpreadOfFloors());
    if (!one.IsReached()) return "NOT reached";
    return one.Ratio() <= one.limit ? "reached" : Text("reached (the two runs: %.3f)", one.SpreadOfFloors());
}

/** What the library takes more than its floor, in parts, and what is left of it. */
void PrintParts(std::ostream& out, const Comparison& one)
{
    double rest = one.Find("library")->median - one.Find("floor")->median;
    out << "    the rest, " << Time(rest) << ':';
    for (const Part& part : one.parts) {
        out << ' ' << part.name << ' ' << Time(part.nanoseconds) << ',';
        rest -= part.nanoseconds;
    }
    out << " all else " << Time(rest) << '\n';
}

void PrintComparison(std::ostream& out, const Comparison& one)
{
    const Measured& library = *one.Find("library");
    out << one.what << "\n    library " << Time(library.median) << " +-" << Time(library.spread);
    for (const Measured& other : one.measured) {
        if (&other == &library) continue;
        out << "; " << other.role << ' ' << Time(other.median);
        out << Text(", ratio %.3f +-%.3f", other.ratio, other.ratioSpread);
    }
    out << Text("\n    aim: at most %.2f of ", one.limit) << one.against;
    out << (one.orInsideSpread ? " or inside the spread of two runs of it: " : ": ") << Verdict(one) << '\n';
    if (!one.parts.empty()) PrintParts(out, one);
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
    out << "    aim: flat: " << (one.IsFlat() ? "reached" : "NOT reached");
    if (!one.IsFlat() && !one.rest.empty()) out << ": " << one.rest;
    out << '\n';
}

void PrintGrowth(std::ostream& out, const Growth& one)
{
    out << one.what << '\n';
    for (const GrowthOf& role : one.roles) {
        out << Text("    %s: exponent %.3f +-%.3f;", role.role.c_str(), role.exponent, role.spread);
        for (std::size_t i = 0; i < one.records.size(); ++i) {
            out << Text(" %d: %s", one.records[i], Time(role.nanoseconds[i]).c_str());
        }
        out << '\n';
    }
    out << "    aim: 1.0 +-0.05: " << (one.IsReached() ? "reached" : "NOT reached") << '\n';
}

void PrintInstructions(std::ostream& out, const Instructions& one)
{
    out << one.what << '\n';
    for (const Count& count : one.counts) {
        out << Text("%12ld  %s, %ld allocations", count.instructions, count.role.c_str(), count.allocations);
        if (count.own != 0) out << Text("; the library's own code: %ld", count.own);
        if (count.own != 0 && one.ownPerRecord != 0) out << Text(", %.0f for each record more", one.ownPerRecord);
        out << '\n';
    }
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
    PrintSection(out, "Library, stripped", results.sizes, [](std::ostream& to, const LibrarySize& one) {
        to << Text("%-12s text %lu bytes, data %lu bytes, %lu relocations\n", one.name.c_str(), one.text, one.data,
                   one.relocations);
    });
}

void PrintJson(std::ostream& out, const Results& results)
{
    nlohmann::ordered_json all;
    all["comparisons"] = nlohmann::ordered_json::parse(Written(results.comparisons));
    for (const MemoryOverTime& one : results.memory) {
        nlohmann::ordered_json row{{"what", one.what}, {"flat", one.IsFlat()}};
        for (const MemorySample& sample : one.samples) {
            row["samples"].push_back({{"operations", sample.operations},
                                      {"heap_bytes", sample.heap},
                                      {"resident_bytes", sample.resident}});
        }
        all["memory"].push_back(row);
    }
    for (const Growth& one : results.growth) {
        nlohmann::ordered_json row{{"what", one.what}, {"records", one.records}, {"reached", one.IsReached()}};
        for (const GrowthOf& role : one.roles) {
            row["roles"].push_back({{"role", role.role},
                                    {"exponent", role.exponent},
                                    {"spread", role.spread},
                                    {"median_ns", role.nanoseconds}});
        }
        all["growth"].push_back(row);
    }
    for (const Instructions& one : results.instructions) {
        nlohmann::ordered_json row{{"what", one.what}, {"own_per_record", one.ownPerRecord}};
        for (const Count& count : one.counts) {
            row["counts"].push_back({{"role", count.role},
                                     {"instructions", count.instructions},
                                     {"own", count.own},
                                     {"allocations", count.allocations}});
        }
        all["instructions"].push_back(row);
    }
    for (const LibrarySize& one : results.sizes) {
        all["sizes"].push_back({{"library", one.name},
                                {"text_bytes", one.text},
                                {"data_bytes", one.data},
                                {"relocations", one.relocations}});
    }
    out << all.dump(2) << '\n';
}

}  // namespace bench
