#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "collector/Archive.h"
#include "collector/Collector.h"
#include "collector/Configs.h"
#include "collector/Options.h"
#include "collector/Server.h"

using namespace collector;

namespace {

int complain(const std::string& problem, int status) {
  fmt::print(stderr, "zorvane-collector: {}\n", problem);
  return status;
}

// Blocked before any thread starts, so that only waitForTheEnd() gets them.
sigset_t blockEndingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

void waitForTheEnd(const sigset_t& signals) {
  int caught = 0;
  while (sigwait(&signals, &caught) != 0) {
  }
}

void announce(const Options& options, int port) {
  const bool isIpv6 = options.host.find(':') != std::string::npos;
  fmt::print("zorvane-collector listens on {}://{}:{}\n", options.tlsCertificate.empty() ? "http" : "https",
             isIpv6 ? "[" + options.host + "]" : options.host, port);
  std::fflush(stdout);
}

Server::Log logOf(const Options& options) {
  if (options.quiet) return [](const std::string&) {};
  return [](const std::string& line) { fmt::print(stderr, "{}\n", line); };
}

void sayGoodbye(Archive& archive) {
  if (const auto held = archive.summary())
    fmt::print("zorvane-collector holds {} events from {} requests; {} records were rejected\n", held->events,
               held->requests, held->rejected);
}

int run(const Options& options) {
  std::string problem;
  TlsContext tls;
  if (!options.tlsCertificate.empty()) tls = makeTlsContext(options.tlsCertificate, options.tlsKey, problem);
  auto configs = options.configsFile.empty() ? std::optional(Configs()) : Configs::load(options.configsFile, problem);
  if (!problem.empty()) return complain(problem, kBadUsage);
  const auto archive = Archive::open(options.databaseFile, problem);
  if (!archive) return complain(problem, 1);

  const auto signals = blockEndingSignals();
  Collector collector(options.games, std::move(*configs), *archive);
  Server server(collector, tls, logOf(options));
  const auto port = server.listen(options.host, options.port);
  if (!port) return complain(fmt::format("can't listen on {}, port {}", options.host, options.port), 1);
  announce(options, *port);
  waitForTheEnd(signals);
  server.stop();
  sayGoodbye(*archive);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const auto options = readOptions(count, arguments);
    if (const auto* status = std::get_if<int>(&options)) return *status;
    return run(std::get<Options>(options));
  } catch (const std::exception& failure) {
    return complain(failure.what(), 1);
  }
}
