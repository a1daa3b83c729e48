// The search path, path ids, the scripted answer of the file choosers and
// the host version. Main thread only, as in Max.
#pragma once

#include <string>

namespace maxsim
{

// Appends a folder to the search path; returns its path id.
short AddSearchPath(const std::string& folder);
// The next file chooser answers with this file ("" cancels it).
void SetDialogAnswer(const std::string& path);
void SetMaxVersion(short version);

}  // namespace maxsim
