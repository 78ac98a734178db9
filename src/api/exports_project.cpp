// Exports of the project.
#include <tervik/rom/project.hpp>

#include "api/frame.hpp"

using Tervik::Rom::Api::Frame::As;
using Tervik::Rom::Api::Frame::Run;
using Tervik::Rom::Project::IProject;

extern "C" {
// One line an export, however long.
// clang-format off

RomExceptionHandle RomProjectComparison(RomObject* project, RomObject* other, uint32_t* same) { return Run(same, ROM_CALL(As<IProject>(project).Compare(other))); }

// clang-format on
}
