// The API beneath /api/: questions, players, refusals, configurations, games, what arrives, signing in. docs/api.yaml
// describes it.
//
// Thread:   any, several at once; an answer may take as long as its question.
// Lifetime: shorter than what it is made of.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "collector/api/Access.h"
#include "collector/api/Parameters.h"
#include "collector/api/Session.h"
#include "collector/archive/Store.h"
#include "collector/configs/ConfigurationStore.h"
#include "collector/front/Http.h"
#include "collector/games/Games.h"
#include "collector/live/Hub.h"
#include "collector/questions/Engine.h"
#include "collector/visits/RefusedVisits.h"

namespace collector {

class Api {
 public:
  struct Parts {
    Store& archive;
    Engine& engine;
    ConfigurationStore& configurations;
    const Games& games;
    const Access& access;
    const Session& session;
    Hub& hub;
    const RefusedVisits& refusedVisits;
    std::function<std::string()> status;  // JSON
    // Where configurations are edited, when it is another collector; "": here.
    std::string configurationsHome;
  };
  explicit Api(Parts parts) : parts_(std::move(parts)) {}

  static bool isPath(std::string_view path) { return path.starts_with("/api/"); }
  // What takes a moment and a small body alone. It mustn't wait for slow questions.
  static bool isQuick(const front::Head& head);
  static std::size_t mostBytes(const front::Head& head);  // of a body
  // The answer to a request that is refused by its head.
  [[nodiscard]] std::optional<front::Response> refusalOf(const front::Head& head) const;
  [[nodiscard]] front::Response answer(const front::Request& request) const;

  struct Route {
    std::string_view method;
    std::string_view path;  // or its beginning, when it ends in a slash: then the name of a question follows
    Level level;
    front::Response (Api::*answer)(const front::Request& request, Parameters& parameters) const;
    bool isQuick = false;
  };
  static std::span<const Route> routes();

 private:
  [[nodiscard]] front::Response showSession(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response signIn(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response signOut(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response showStatus(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response listen(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response listGames(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response listQuestions(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response answerQuestion(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response listRefused(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response listRefusedVisits(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response listNotes(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response erase(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response readConfigurations(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response saveConfigurations(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response listVersions(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response restoreConfigurations(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response previewConfigurations(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response allConfigurations(const front::Request& request, Parameters& parameters) const;
  [[nodiscard]] front::Response keepVersion(const std::string& game, ConfigurationVersion next,
                                            std::int64_t before) const;
  [[nodiscard]] std::string knownGame(Parameters& parameters) const;
  void expectToBeHome() const;

  const Parts parts_;
};

}  // namespace collector
