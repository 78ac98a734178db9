#include "python.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <unistd.h>

#include <tervik/rom/rom.h>

#include "cli.hpp"

namespace tervik::cli {

namespace {

namespace fs = std::filesystem;

// Where the package lies: in the source tree when the command runs from its build tree,
// else at the installation's place relative to the command's folder (or absolute).
fs::path PackageFolder() {
    std::error_code error;
    const fs::path command = fs::canonical("/proc/self/exe", error);
    if (error) throw Failure("cannot find the command's own file: " + error.message());
    const fs::path folder = command.parent_path();
    const fs::path built = fs::weakly_canonical(TERVIKROM_ROM_BUILD_DIR, error);
    const fs::path package =
        !error && folder == built ? fs::path(TERVIKROM_ROM_SOURCE_PACKAGE) : folder / TERVIKROM_ROM_INSTALLED_PACKAGE;
    if (!fs::is_regular_file(package / "tervikrom" / "__init__.py", error))
        throw Failure("the Python package tervikrom is not in " + package.lexically_normal().string() +
                      ": the subcommand runs one of its modules");
    return package.lexically_normal();
}

// The library this process loaded, which Python loads too.
std::string LibraryPath() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&RomGetSnapshotFileExtension), &info) == 0 || info.dli_fname == nullptr)
        throw Failure("cannot find the file of the loaded library libtervikrom");
    std::error_code error;
    const fs::path library = fs::canonical(info.dli_fname, error);
    return error ? std::string(info.dli_fname) : library.string();
}

}  // namespace

CLI::App* AddPythonSubcommand(CLI::App& app, const PythonCommand& command) {
    CLI::App* subcommand = app.add_subcommand(command.name, command.description);
    subcommand->prefix_command();
    subcommand->set_help_flag();  // the module prints its own help
    return subcommand;
}

int RunPython(const PythonCommand& command, const CLI::App& subcommand, std::ostream& err) {
    const char* chosen = std::getenv("TERVIKROM_PYTHON");
    const std::string python = chosen != nullptr && *chosen != '\0' ? chosen : TERVIKROM_ROM_PYTHON;
    std::string path = PackageFolder().string();
    if (const char* more = std::getenv("PYTHONPATH"); more != nullptr && *more != '\0') path += ":" + std::string(more);
    if (::setenv("PYTHONPATH", path.c_str(), 1) != 0 || ::setenv("TERVIKROM_LIBRARY", LibraryPath().c_str(), 1) != 0 ||
        ::setenv("PYTHONSAFEPATH", "1", 0) != 0)  // the working folder stays off the module path
        throw Failure(std::string("cannot set the environment of Python: ") + std::strerror(errno));

    std::vector<std::string> arguments = {python, "-m", command.module};
    if (command.leading != nullptr) arguments.push_back(command.leading);
    for (const std::string& argument : subcommand.remaining()) arguments.push_back(argument);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    std::cout.flush();
    ::execv(python.c_str(), argv.data());
    err << "tervikrom: cannot run " << python << ": " << std::strerror(errno) << "\n";
    return 1;
}

}  // namespace tervik::cli
