// An archive in a folder of its own, with what a game has sent to it.
#pragma once

#include <gtest/gtest.h>

#include <future>
#include <optional>
#include <string>

#include "collector/archive/Store.h"
#include "collector/base/Signature.h"
#include "collector/intake/Intake.h"
#include "support/TemporaryFolder.h"

namespace collector {

struct ArchiveOf {
  static constexpr const char* kGame = "0123456789abcdef0123456789ABCDEF";
  static constexpr const char* kSecret = "0123456789abcdef0123456789ABCDEF01234567";

  // `records`: a list of them, JSON.
  void take(std::string records, std::int64_t now = 1'700'000'123) {
    const Intake intake([](std::string_view) { return std::optional<std::string>(kSecret); });
    Call call{"events", kGame, "", signatureOf(records, kSecret), "", "application/json", std::move(records)};
    auto outcome = intake.takeEvents(std::move(call), now);
    ASSERT_NE(outcome.content, nullptr) << outcome.json;
    std::promise<bool> kept;
    store.keep(std::shared_ptr<const Taken>(std::move(outcome.content)), [&](bool all) { kept.set_value(all); });
    ASSERT_TRUE(kept.get_future().get());
  }

  TemporaryFolder folder;
  Store store{folder.file("archive.sqlite")};
};

}  // namespace collector
