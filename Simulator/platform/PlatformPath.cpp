#include "PlatformPath.h"

#include "Answer.h"

const char* tzplatform_mkpath(int variable, const char* path)
{
    // Each thread has its own, good until its next call.
    thread_local std::string joined;
    return vbset::Answer<const char*>(nullptr, [&](const vbset::Here&) -> const char* {
        const bool known = variable == PLATFORM_PATH_MIGRATION && path != nullptr;
        joined = known ? std::string("/opt/tv/") + path : "";
        vbset::live::Trace("platform", "tzplatform_mkpath", std::to_string(variable) + ' ' + (path ? path : "NULL"),
                           known ? joined : "NULL");
        return known ? joined.c_str() : nullptr;
    });
}
