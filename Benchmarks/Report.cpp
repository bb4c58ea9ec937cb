#include "Report.h"

#include <nlohmann/json.hpp>

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
    if (nanoseconds < 1e3) return Text("%.0f ns", nanoseconds);
    if (nanoseconds < 1e6) return Text("%.1f us", nanoseconds / 1e3);
    return Text("%.2f ms", nanoseconds / 1e6);
}

void PrintComparison(std::ostream& out, const Comparison& one)
{
    const Measured& library = *one.Find("library");
    out << one.what << '\n';
    out << Text("    library %s +-%s", Time(library.median).c_str(), Time(library.spread).c_str());
    for (const Measured& other : one.measured) {
        if (other.role == "library") continue;
        out << Text("; %s %s, ratio %.3f", other.role.c_str(), Time(other.median).c_str(), library.median / other.median);
    }
    out << Text("\n    aim: at most %.2f of %s: %s", one.limit, one.against.c_str(),
                one.IsReached() ? "reached" : "NOT reached");
    if (one.IsReached() && one.Ratio() > one.limit) {
        out << Text(" (inside the spread of two runs of the floor, %.3f)", one.FloorAgain());
    }
    if (!one.IsReached() && !one.note.empty()) out << ": " << one.note;
    out << '\n';
}

template <typename Rows, typename Print>
void PrintSection(std::ostream& out, const char* title, const Rows& rows, Print print)
{
    if (rows.empty()) return;
    out << '\n' << title << '\n';
    for (const auto& row : rows) print(row);
}

}  // namespace

void PrintTable(std::ostream& out, const Results& results)
{
    PrintSection(out, "Times: medians, +- half the distance of the quartiles", results.comparisons,
                 [&](const Comparison& one) { PrintComparison(out, one); });
    PrintSection(out, "Memory, after the first hundred", results.memory, [&](const MemoryOverTime& one) {
        out << Text("%ld %s: heap %+ld bytes, resident %+ld bytes\n", one.operations, one.what.c_str(), one.heapGrowth,
                    one.residentGrowth);
    });
    PrintSection(out, "Growth with the records of a file", results.growth, [&](const Growth& one) {
        out << Text("%s: exponent %.3f;", one.what.c_str(), one.exponent);
        for (const auto& [records, time] : one.nanoseconds) out << Text(" %d: %s", records, Time(time).c_str());
        out << '\n';
    });
    PrintSection(out, "Instructions in this process", results.instructions, [&](const Instructions& one) {
        out << Text("%12lld  %s\n", one.count, one.name.c_str());
    });
    PrintSection(out, "Library, stripped", results.sizes, [&](const LibrarySize& one) {
        out << Text("%-6s text %lu bytes, data %lu bytes, %lu relocations\n", one.name.c_str(), one.text, one.data,
                    one.relocations);
    });
}

void PrintJson(std::ostream& out, const Results& results)
{
    nlohmann::ordered_json all;
    all["comparisons"] = nlohmann::ordered_json::parse(Written(results.comparisons));
    for (const MemoryOverTime& one : results.memory) {
        all["memory"].push_back({{"what", one.what},
                                 {"operations", one.operations},
                                 {"heap_growth_bytes", one.heapGrowth},
                                 {"resident_growth_bytes", one.residentGrowth}});
    }
    for (const Growth& one : results.growth) {
        all["growth"].push_back({{"what", one.what}, {"exponent", one.exponent}, {"ns_by_records", one.nanoseconds}});
    }
    for (const Instructions& one : results.instructions) {
        all["instructions"].push_back({{"what", one.name}, {"count", one.count}});
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
