// The rom subcommand: the reduced-order models of the Python package, whose module
// tervikrom.rom takes the subcommand's arguments as they stand.
#ifndef TERVIK_ROM_CLI_ROM_HPP
#define TERVIK_ROM_CLI_ROM_HPP

#include <iosfwd>

#include <CLI/CLI.hpp>

namespace tervik::cli {

// Adds "rom" to the command; everything after it, --help included, is left for Python.
CLI::App* AddRomSubcommand(CLI::App& app);

// Runs `PYTHON -m tervikrom.rom ARGUMENTS...` in place of this process, with the package
// and this command's library; returns only when Python cannot be started (status 1).
int RunRom(const CLI::App& rom, std::ostream& err);

}  // namespace tervik::cli

#endif
