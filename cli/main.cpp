// tervikrom: inspect, validate, export and import the files of the tervikrom library.
// Exit status: 0 success, 1 when a file fails, 2 on a usage error.
#include <iostream>

#include <CLI/CLI.hpp>

#include "cli.hpp"
#include "python.hpp"

namespace {

constexpr int kUsage = 2;

// "SUPPORT=points" or "SUPPORT=cells", the last "=" separating the two.
bool ParseLocation(const std::string& text, tervik::cli::ExportOptions& options) {
    const auto equals = text.rfind('=');
    if (equals == std::string::npos || equals == 0) return false;
    const std::string where = text.substr(equals + 1);
    if (where != "points" && where != "cells") return false;
    options.locations[text.substr(0, equals)] =
        where == "points" ? tervik::cli::Location::Points : tervik::cli::Location::Cells;
    return true;
}

// The subcommand is the first argument that is not an option (the command takes nothing
// else); a word that names none is refused with the names there are.
bool KnownSubcommand(const CLI::App& app, int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word.empty() || word[0] == '-') continue;
        std::string names;
        for (const CLI::App* subcommand : app.get_subcommands({})) {
            if (subcommand->get_name() == word) return true;
            names += (names.empty() ? "" : ", ") + subcommand->get_name();
        }
        std::cerr << "tervikrom: unknown subcommand \"" << word << "\"; the subcommands are " << names
                  << "\nRun with --help for more information.\n";
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace tervik::cli;
    CLI::App app{"Inspects, validates, exports and imports the files of the tervikrom library.", "tervikrom"};
    app.set_version_flag("--version", std::string("tervikrom " TERVIKROM_VERSION));
    app.require_subcommand(1, 1);

    InfoOptions info;
    CLI::App* infoCommand = app.add_subcommand("info",
                                               "What each file holds: kind, versions, sizes, supports, fields, "
                                               "snapshot pairs, cache entries.");
    infoCommand->add_option("files", info.files, "Files of any kind (.romcfg, .rommsh, .romsnp, .romcch, .rompjt)")
        ->required();
    infoCommand->add_flag("--json", info.json, "Print one JSON document for the whole run");
    infoCommand->add_flag("--tables", info.tables, "Include the tables of meshes and snapshots, entry by entry");

    ValidateOptions validate;
    CLI::App* validateCommand =
        app.add_subcommand("validate", "Reads each file in full and checks what its format implies.");
    validateCommand->add_option("files", validate.files, "Files of any kind")->required();
    validateCommand
        ->add_option("--mesh", validate.mesh,
                     "Check that the ids of each snapshot are entities of the "
                     "support of the same solver id in this mesh")
        ->check(CLI::ExistingFile);
    validateCommand->add_flag("--indices", validate.indices, "Connectivity references are node indices, not ids");

    ExportOptions exported;
    std::vector<std::string> locations;
    CLI::App* exportCommand = app.add_subcommand(
        "export",
        "Writes a mesh and its snapshots as VTK unstructured grids for ParaView: OUT.vtu for at most one "
        "snapshot, OUT_<i>.vtu and the collection OUT.pvd for several.");
    exportCommand->add_option("mesh", exported.mesh, "The mesh file (.rommsh)")->required();
    exportCommand->add_option("snapshots", exported.snapshots, "Snapshot files (.romsnp), in time order");
    exportCommand
        ->add_option("-o,--output", exported.output, "The output file (.vtu or .pvd; the extension is optional)")
        ->required();
    exportCommand->add_option("--setup", exported.setup,
                              "The set-up (.romcfg) whose fields group components into arrays, with their units; "
                              "by default the one set-up in the mesh's folder, if there is one");
    exportCommand->add_flag("--split-components", exported.splitComponents,
                            "One array per component and support (component@support), as without a set-up");
    exportCommand->add_option("--cache", exported.cache,
                              "Export the snapshots of this snapshot cache (.romcch) as a series");
    exportCommand->add_option("--time", exported.time,
                              "With --cache: order the series by this input parameter and give its values as the "
                              "time steps (default: the cache's order, 0, 1, 2, ...)");
    exportCommand->add_flag("--indices", exported.indices,
                            "Connectivity references are node indices (from 0), not node ids");
    exportCommand
        ->add_option("--location", locations,
                     "SUPPORT=points or SUPPORT=cells: where the values of a support go, whatever the entity "
                     "type its configuration gives (1: nodes, on the points; others: on the cells)")
        ->allow_extra_args(false);

    std::vector<std::pair<const PythonCommand*, CLI::App*>> python;
    for (const PythonCommand& command : kPythonCommands)
        python.emplace_back(&command, AddPythonSubcommand(app, command));

    if (!KnownSubcommand(app, argc, argv)) return kUsage;
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kUsage;
    }
    RemoveOutputsOnSignals();
    try {
        if (*infoCommand) return Info(info, std::cout, std::cerr);
        if (*validateCommand) return Validate(validate, std::cout, std::cerr);
        for (const auto& [command, subcommand] : python)
            if (*subcommand) return RunPython(*command, *subcommand, std::cerr);
        for (const std::string& location : locations)
            if (!ParseLocation(location, exported)) {
                std::cerr << "--location: \"" << location << "\" is not SUPPORT=points or SUPPORT=cells\n"
                          << "Run with --help for more information.\n";
                return kUsage;
            }
        return Export(exported, std::cout, std::cerr);
    } catch (const std::exception& error) {
        std::cerr << "tervikrom: " << error.what() << "\n";
        return 1;
    }
}
