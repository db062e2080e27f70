#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>

#include "collector/Service.h"
#include "collector/base/Log.h"
#include "collector/commands/Commands.h"
#include "collector/front/Server.h"

namespace collector {

namespace {

// From the signal to the end of the process. Answers have all but the last second of it.
constexpr unsigned kSecondsToEnd = 5;

// Blocked before any thread starts, so that only serve() gets them.
sigset_t blockSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  for (const int each : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, each);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

// Nothing that is left then was promised to anybody: all that was answered is on the disk.
void endInTime() {
  std::signal(SIGALRM, [](int) { ::_exit(0); });
  ::alarm(kSecondsToEnd);
}

// As many connections as there can be descriptors for, but for those that everything else needs.
std::size_t possibleConnections(std::size_t wanted) {
  constexpr rlim_t kOthers = 64;
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return wanted;
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, std::max<rlim_t>(limit.rlim_cur, wanted + kOthers));
  ::setrlimit(RLIMIT_NOFILE, &limit);
  return std::min<rlim_t>(wanted, limit.rlim_cur > 2 * kOthers ? limit.rlim_cur - kOthers : kOthers);
}

void announce(const Options& options, int port) {
  const bool isIpv6 = options.host.find(':') != std::string::npos;
  fmt::print("zorvane-collector listens on {}://{}:{}\n", options.tlsCertificate.empty() ? "http" : "https",
             isIpv6 ? fmt::format("[{}]", options.host) : options.host, port);
  std::fflush(stdout);
}

front::TlsContext tlsOf(const Options& options, std::string& problem) {
  if (options.tlsCertificate.empty()) return nullptr;
  return front::makeTlsContext(options.tlsCertificate, options.tlsKey, problem);
}

// Until the process is to end. SIGHUP reads the certificate and the games again; what can't be used changes nothing.
void serve(front::Server& server, Service& service, const Options& options, const sigset_t& signals, Log& log) {
  const auto report = [&](const char* what, const std::string& problem) {
    log.write(problem.empty() ? fmt::format("The {} was read again", what)
                              : fmt::format("The {} can't be used, what was read before stays: {}", what, problem));
  };
  for (int caught = 0;;) {
    if (sigwait(&signals, &caught) != 0) continue;
    if (caught != SIGHUP) {
      endInTime();
      return server.stop();
    }
    std::string problem;
    auto tls = tlsOf(options, problem);
    if (problem.empty()) server.renewTls(tls);
    if (tls || !problem.empty()) report("certificate", problem);
    if (!options.gamesFile.empty()) report("games file", service.reloadGames());
  }
}

}  // namespace

int run(const Options& options) {
  std::string problem;
  front::Settings settings;
  settings.tls = tlsOf(options, problem);
  if (!problem.empty()) return complain(problem, kBadUsage);

  const auto signals = blockSignals();
  Log log(STDERR_FILENO, options.logForm);
  if (!options.games.empty() && options.isExposed())
    log.write("--game is for development: anybody on this machine can see the secret; use --games");
  Service service(options, log);
  settings.limits.connections = possibleConnections(settings.limits.connections);
  settings.limits.stop = std::chrono::seconds(kSecondsToEnd - 1);
  settings.proxies = options.proxies;
  settings.log = [&service](const front::Visit& visit) { service.note(visit); };
  front::Server server(service.handler(), std::move(settings));
  const int port = server.listen(options.host, options.port);
  service.watch(server.tally());
  announce(options, port);
  serve(server, service, options, signals, log);
  return 0;
}

}  // namespace collector
