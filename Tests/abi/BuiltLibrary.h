/** @file
 * The built libVBMigration.so in this process, by the names of its functions and objects, the inner ones too.
 */
#pragma once

#include <ElfFile.h>

#include <map>
#include <set>
#include <string>
#include <vector>

class BuiltLibrary {
 public:
    /** Loads the library, for good: its objects live as long as the process. @throw std::runtime_error */
    BuiltLibrary();

    static const char* Path();

    /** An exported function or object. @throw std::runtime_error when there is none of that name */
    template <class Type>
    Type* Exported(const std::string& name) const
    {
        return reinterpret_cast<Type*>(ExportedAddress(name));
    }

    /** Any function or object, by its mangled name. @throw std::runtime_error when there is none of that name */
    template <class Type>
    Type* Inner(const std::string& name) const
    {
        return reinterpret_cast<Type*>(start_ + Place(name).offset);
    }

    /** The virtual table of a class, by the class's mangled name: what each slot names, as a person reads it, "pure" or
     * "nothing". A slot has several names when they stand for the same code. */
    std::vector<std::set<std::string>> VirtualTable(const std::string& className) const;

 private:
    void* ExportedAddress(const std::string& name) const;
    const ElfPlace& Place(const std::string& name) const;
    std::set<std::string> NamesAt(const void* code) const;

    void* handle_;
    std::uintptr_t start_;
    std::map<std::string, ElfPlace> symbols_;
};
