#include "BuiltLibrary.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace {

/** "Class::Operation(int)"; what tells the destructors of a class from each other follows in brackets. */
std::string Readable(const std::string& mangled)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status), &std::free);
    std::string text = name ? name.get() : mangled;
    const std::string longString = "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >";
    for (std::size_t at = text.find(longString); at != std::string::npos; at = text.find(longString)) {
        text.replace(at, longString.size(), "std::string");
    }
    const std::string end = mangled.size() > 4 ? mangled.substr(mangled.size() - 4) : "";
    return text + (end == "D0Ev" ? " [deleting]" : end == "D1Ev" ? " [complete]" : end == "D2Ev" ? " [base]" : "");
}

}  // namespace

const char* BuiltLibrary::Path()
{
    return VBMIGRATION_LIBRARY;
}

BuiltLibrary::BuiltLibrary() : handle_(dlopen(Path(), RTLD_NOW | RTLD_LOCAL)), symbols_(ReadElfSymbols(Path()))
{
    link_map* map = nullptr;
    if (handle_ == nullptr || dlinfo(handle_, RTLD_DI_LINKMAP, &map) != 0) {
        throw std::runtime_error(dlerror());
    }
    start_ = map->l_addr;
}

void* BuiltLibrary::ExportedAddress(const std::string& name) const
{
    void* const address = dlsym(handle_, name.c_str());
    if (address == nullptr) {
        throw std::runtime_error("the library does not export " + name);
    }
    return address;
}

const ElfPlace& BuiltLibrary::Place(const std::string& name) const
{
    const auto found = symbols_.find(name);
    if (found == symbols_.end()) {
        throw std::runtime_error("the library has no " + name);
    }
    return found->second;
}

std::set<std::string> BuiltLibrary::NamesAt(const void* code) const
{
    if (code == nullptr) {
        return {"nothing"};
    }
    if (code == dlsym(RTLD_DEFAULT, "__cxa_pure_virtual")) {
        return {"pure"};
    }
    std::set<std::string> names;
    for (const auto& [name, place] : symbols_) {
        if (start_ + place.offset == reinterpret_cast<std::uintptr_t>(code)) {
            names.insert(Readable(name));
        }
    }
    return names;
}

std::vector<std::set<std::string>> BuiltLibrary::VirtualTable(const std::string& className) const
{
    constexpr std::size_t kSlotsBeforeTheFirst = 2;  // offset to the top, type
    const std::string name = "_ZTV" + className;
    const void* const* const table = Inner<const void*>(name);
    std::vector<std::set<std::string>> slots;
    for (std::size_t i = kSlotsBeforeTheFirst; i < Place(name).size / sizeof(void*); ++i) {
        slots.push_back(NamesAt(table[i]));
    }
    return slots;
}
