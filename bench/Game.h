// The game that the benches play: Zorvane, initialised against a collector on loopback that accepts everything, with a
// data directory of its own in the working directory.
//
// Thread:   the bench's main thread.
// Lifetime: starts with the first use and ends with the process; its data directory goes with it.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include <zorvane/ZVTypes.h>

namespace game {

// The event that every bench reports: an event id, a value and three custom fields.
inline constexpr const char* kEventId = "level:castle:boss_down";
inline constexpr double kValue = 12.5;
const ZVMap& customFields();

inline constexpr double kNever = 1e6;                         // seconds
inline constexpr auto kSlowAnswer = std::chrono::seconds(5);  // how long the collector takes below /slow

// Its session is open and nothing is left to do when this returns. By default a bench says when events are sent.
void start(double secondsBetweenRuns = kNever);
void reportEvent();
void finishTasks();  // returns when the work queue has nothing left
void onWorkQueue(const std::function<void()>& task);

void sendTo(const std::string& url);  // events, from now on

std::string collectorUrl(const std::string& path);
std::string directory();
int collectorPort();
std::string lastBatch();  // the body of the last request that carried events

}  // namespace game
