// The setup file: everything the operator set, as text.  The working copy is always
// "CXsetup.cxd" in the working folder; a run rewrites it at its start, so it is the last state
// used.  Open, save and save-as only move copies of it.
#pragma once

#include <filesystem>
#include <string>

#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"
#include "persist/files.h"

namespace cx {

inline constexpr std::string_view kSetupFileName = "CXsetup.cxd";

// The text of the setup file for a column and its settings.
std::string setupText(const Column& column, const Settings& settings);

// What ReadSetup returns to its caller.
struct SetupReadResult {
  bool ok = false;
  std::string message;    // the error, naming the file, the line and the field
  double topT = 1273.15;  // Temp(NumNodes), K
  double bottomT = 1273.15;
  int nodeCount = 4;
  bool missing = false;  // the file does not exist
};

// Parses a setup text into `column` and `settings`.  On any error nothing is changed and the
// result names the file, the line and the field.  `fileName` is used in messages only.
SetupReadResult parseSetup(const std::string& text, const std::string& fileName, Column& column,
                           Settings& settings);

// Reads and checks a setup file (at most kMaxSetupFileBytes, a regular file) into `column` and
// `settings`, which are changed only when it reads whole; the message gives the system's reason
// when the file cannot be read.
SetupReadResult readSetupFile(const std::filesystem::path& file, Column& column,
                              Settings& settings);

// WriteSetup: writes "CXsetup.cxd" into `folder`.  False when it cannot be written;
// WriteSetupFile gives the reason.
WriteStatus WriteSetupFile(const std::filesystem::path& folder, const Column& column,
                           const Settings& settings);
bool WriteSetup(const std::filesystem::path& folder, const Column& column,
                const Settings& settings);
// ReadSetup: reads "CXsetup.cxd" of `folder`.  A missing file gives its message and dimensions
// the default column; a malformed file leaves the column and settings as they were.
SetupReadResult ReadSetup(const std::filesystem::path& folder, Column& column, Settings& settings,
                          Port& port);

// mnuOpen: copies `file` over the working copy, reads it and writes the working copy again
// (so that it carries the reader's repairs).  A bad file leaves both the working copy and the
// loaded setup untouched.
SetupReadResult openSetup(const std::filesystem::path& folder, const std::filesystem::path& file,
                          Column& column, Settings& settings, Port& port);
// mnuSave / mnuSaveAs: writes the working copy and copies it to `file`.  False with a message
// ("File error!") on failure.
bool saveSetupAs(const std::filesystem::path& folder, const std::filesystem::path& file,
                 const Column& column, const Settings& settings, Port& port);

}  // namespace cx
