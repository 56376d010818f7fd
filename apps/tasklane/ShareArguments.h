#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ShareCommand.h"

namespace tasklane {

/// The options of `tasklane share`, whose order counts: each belongs to the input item that --item
/// has begun last.
class ShareArguments {
 public:
  /// Adds the options to the command.
  explicit ShareArguments(CLI::App& command);

  /// After parsing: does what was asked for.
  void run();

 private:
  CLI::Option* addText(const std::string& name, const std::string& description);
  /// May be repeated.
  CLI::Option* addOrdered(const std::string& name, const std::string& description);
  /// For what contradicts itself.
  void check() const;
  ShareRequest requestFromOptions() const;
  ShareRequest requestFromWords() const;
  ShareRequest request() const;
  std::optional<ShareRequest::Clipboard> clipboard() const;
  void clean(ShareRequest& request) const;
  void runBatch() const;

  CLI::App& command_;
  CLI::Option* item_;
  CLI::Option* title_;
  CLI::Option* text_;
  CLI::Option* url_;
  CLI::Option* page_;
  CLI::Option* selection_;
  CLI::Option* image_;
  CLI::Option* file_;
  CLI::Option* project_;
  CLI::Option* context_;
  CLI::Option* note_;
  CLI::Option* snapshot_;
  CLI::Option* scale_;
  std::vector<std::string> words_;
  std::string requestFile_, batchFile_;
  bool skipsBadLines_ = false;
  bool copied_ = false, selected_ = false;
  bool cleanLinks_ = false;
  bool post_ = false;
  bool detach_ = false;
};

}  // namespace tasklane
