#include "OwnProcess.h"

#include <Process.h>
#include <Set.h>

#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace bench {

std::string InOwnProcess(const std::string& name, const std::function<std::string()>& work)
{
    std::cerr << name << "..." << std::endl;
    vbset::Pipe pipe = vbset::MakePipe();
    const pid_t child = fork();
    if (child < 0) throw vbset::Error(name + ": no process");
    if (child == 0) {
        try {
            const std::string text = work();
            FILE* const out = fdopen(pipe.write.Get(), "w");
            const bool isWritten = out != nullptr && std::fputs(text.c_str(), out) >= 0 && std::fflush(out) == 0;
            if (!isWritten) throw vbset::Error("the results could not be handed on");
            _exit(0);
        } catch (const std::exception& error) {
            std::cerr << "vbmigration-bench: " << name << ": " << error.what() << std::endl;
            _exit(1);
        }
    }
    pipe.write.Close();
    const std::string text = vbset::ReadText(pipe.read, false);
    if (vbset::WaitFor(child) != 0) throw vbset::Error(name + " could not be measured");
    return text;
}

}  // namespace bench
