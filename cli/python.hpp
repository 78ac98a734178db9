// Subcommands that the Python package runs: `rom` (its module tervikrom.rom) and `import`
// (tervikrom.meshio), each taking the subcommand's arguments as they stand.
#ifndef TERVIK_ROM_CLI_PYTHON_HPP
#define TERVIK_ROM_CLI_PYTHON_HPP

#include <iosfwd>
#include <string>

#include <CLI/CLI.hpp>

namespace tervik::cli {

// A subcommand of a Python module: everything after it, --help included, is left for Python.
struct PythonCommand {
    const char* name;
    const char* module;   // run as `PYTHON -m module [leading] ARGUMENTS...`
    const char* leading;  // an argument put first, or null
    const char* description;
};
inline constexpr PythonCommand kPythonCommands[] = {
    {"rom", "tervikrom.rom", nullptr,
     "Reduced-order models of a snapshot cache's runs (Python's tervikrom.rom): rom build CACHE -o MODEL, "
     "rom predict MODEL --point a=0.3,b=2 -o OUT.romsnp, rom report MODEL [--json]; rom --help for more."},
    {"import", "tervikrom.meshio", "import",
     "Reads a mesh file meshio reads (Gmsh .msh, VTU, Exodus, Abaqus .inp, ...) into OUT.rommsh and its mesh "
     "configuration OUT.romcfg (Python's tervikrom.meshio): import MESHFILE -o OUT.rommsh; import --help for more."},
};

CLI::App* AddPythonSubcommand(CLI::App& app, const PythonCommand& command);

// Runs the command's module in place of this process, with the package and this command's
// library; returns only when Python cannot be started (status 1).
int RunPython(const PythonCommand& command, const CLI::App& subcommand, std::ostream& err);

}  // namespace tervik::cli

#endif
