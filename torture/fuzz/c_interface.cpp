// The C functions, called in any order with any arguments.
#include <zorvane/zorvane_c.h>

#include <array>
#include <string>
#include <vector>

#include "Library.h"

using fuzz::Input;
using fuzz::Library;

namespace {

// A text argument, which may be null. It ends where it ends, so that a byte read beyond it is seen.
class Text {
 public:
  explicit Text(Input& input) {
    if (input.byte() % 8 == 0) return;
    const std::string text = input.text();
    bytes_.assign(text.c_str(), text.c_str() + std::strlen(text.c_str()) + 1);
    bytes_.shrink_to_fit();
  }
  operator const char*() const { return bytes_.empty() ? nullptr : bytes_.data(); }

 private:
  std::vector<char> bytes_;
};

// A map, filled as C fills one; null at times.
class Map {
 public:
  explicit Map(Input& input, int depth = 0) : map_(input.byte() % 4 == 0 ? nullptr : zorvane_map_create()) {
    for (unsigned left = input.byte() % 6; left > 0; --left) {
      const Text key(input);
      switch (input.byte() % 7) {
        case 0: zorvane_map_set_int64(map_, key, input.whole()); break;
        case 1: zorvane_map_set_double(map_, key, input.number()); break;
        case 2: zorvane_map_set_bool(map_, key, input.flag()); break;
        case 3: zorvane_map_set_text(map_, key, Text(input)); break;
        case 4: zorvane_map_set_map(map_, key, depth < 20 ? Map(input, depth + 1).get() : map_); break;
        case 5: zorvane_map_set_array(map_, key, depth < 20 ? Map(input, depth + 1).get() : map_); break;
        default: zorvane_map_clear(map_);
      }
    }
  }
  ~Map() { zorvane_map_destroy(map_); }
  Map(const Map&) = delete;
  Map& operator=(const Map&) = delete;
  [[nodiscard]] const zorvane_map* get() const { return map_; }

 private:
  zorvane_map* const map_;
};

// A list of texts, some of them null.
class List {
 public:
  explicit List(Input& input) {
    for (unsigned left = input.byte() % 24; left > 0; --left) texts_.emplace_back(input);
    for (const Text& text : texts_) list_.push_back(text);
  }
  [[nodiscard]] const char* const* data() const { return list_.data(); }
  [[nodiscard]] std::size_t size() const { return list_.size(); }

 private:
  std::vector<Text> texts_;
  std::vector<const char*> list_;
};

int number(Input& input) { return input.oneOf({1, 2, 3, 4, 5, 6, 7, 0, -1, INT32_MAX, INT32_MIN}); }

// What is asked comes back whole, cut or not at all, always with its null byte.
template <class Ask>
void ask(Input& input, Ask question) {
  const std::size_t capacity = input.byte() % 48;
  std::vector<char> buffer(capacity, 'x');
  const std::size_t length = question(buffer.data(), capacity);
  if (capacity == 0) return;
  const std::size_t written = ::strnlen(buffer.data(), capacity);
  fuzz::require(written < capacity, "no null byte");
  fuzz::require(written <= (length == ZORVANE_ABSENT ? 0 : length), "more than there is");
}

using Call = void (*)(Input&);

const auto kCalls = std::to_array<Call>({
    [](Input& i) { zorvane_configure_build(Text(i)); },
    [](Input& i) { zorvane_configure_user_id(Text(i)); },
    [](Input& i) { zorvane_configure_sdk_version(Text(i)); },
    [](Input& i) { zorvane_configure_engine_version(Text(i)); },
    [](Input& i) { zorvane_configure_auto_detect_app_version(i.flag()); },
    [](Input& i) {
      const List l(i);
      zorvane_configure_available_custom_dimensions01(l.data(), l.size());
    },
    [](Input& i) {
      const List l(i);
      zorvane_configure_available_custom_dimensions02(l.data(), l.size());
    },
    [](Input& i) {
      const List l(i);
      zorvane_configure_available_custom_dimensions03(l.data(), l.size());
    },
    [](Input& i) {
      const List l(i);
      zorvane_configure_available_resource_currencies(l.data(), l.size());
    },
    [](Input& i) {
      const List l(i);
      zorvane_configure_available_resource_item_types(l.data(), l.size());
    },
    [](Input& i) { zorvane_configure_game_key(i.flag() ? fuzz::kKey : Text(i), i.flag() ? fuzz::kSecret : Text(i)); },
    [](Input&) { zorvane_initialize(fuzz::kKey, fuzz::kSecret); },
    [](Input& i) { zorvane_initialize(Text(i), Text(i)); },
    [](Input&) { zorvane_initialize_configured(); },
    [](Input& i) { zorvane_set_enabled_info_log(i.flag()); },
    [](Input& i) { zorvane_set_enabled_verbose_log(i.flag()); },
    [](Input& i) { zorvane_set_enabled_warning_log(i.flag()); },
    [](Input& i) { zorvane_set_enable_debug_log(i.flag()); },
    [](Input& i) { zorvane_set_enabled_manual_session_handling(i.flag()); },
    [](Input& i) { zorvane_set_enabled_event_submission(i.byte() % 8 != 0); },
    [](Input& i) { zorvane_set_base_url(Text(i)); },
    [](Input& i) {
      zorvane_add_business_event(i.flag() ? "USD" : Text(i), i.whole(), Text(i), Text(i), Text(i), Text(i), i.flag(),
                                 Map(i).get(), i.flag());
    },
    [](Input& i) {
      zorvane_add_resource_event(number(i), Text(i), i.number(), Text(i), Text(i), Map(i).get(), i.flag());
    },
    [](Input& i) { zorvane_add_progression_event(number(i), Text(i), Text(i), Text(i), Map(i).get(), i.flag()); },
    [](Input& i) {
      zorvane_add_progression_event_with_score(number(i), Text(i), Text(i), Text(i), i.whole(), Map(i).get(), i.flag());
    },
    [](Input& i) { zorvane_add_design_event(Text(i), Map(i).get(), i.flag()); },
    [](Input& i) { zorvane_add_design_event_with_value(Text(i), i.number(), Map(i).get(), i.flag()); },
    [](Input& i) { zorvane_add_error_event(number(i), Text(i), Map(i).get(), i.flag()); },
    [](Input& i) { zorvane_add_ad_event(number(i), number(i), Text(i), Text(i), Map(i).get(), i.flag()); },
    [](Input& i) {
      zorvane_add_ad_event_with_duration(number(i), number(i), Text(i), Text(i), i.whole(), Map(i).get(), i.flag());
    },
    [](Input& i) {
      zorvane_add_ad_event_with_reason(number(i), number(i), Text(i), Text(i), number(i), Map(i).get(), i.flag());
    },
    [](Input& i) { (void)zorvane_ad_type_name(number(i)); },
    [](Input& i) {
      zorvane_add_impression_event(i.flag() ? ZORVANE_AD_NETWORK_MAX : Text(i), i.flag() ? "1.2" : Text(i),
                                   Map(i).get(), Map(i).get(), i.flag());
    },
    [](Input&) { zorvane_start_session(); },
    [](Input&) { zorvane_end_session(); },
    [](Input&) { zorvane_did_enter_background(); },
    [](Input&) { zorvane_will_enter_foreground(); },
    [](Input& i) { zorvane_set_custom_dimension01(Text(i)); },
    [](Input& i) { zorvane_set_custom_dimension02(Text(i)); },
    [](Input& i) { zorvane_set_custom_dimension03(Text(i)); },
    [](Input& i) { zorvane_set_global_custom_event_fields(Map(i).get()); },
    [](Input& i) {
      const Text key(i), fallback(i);
      ask(i,
          [&](char* b, std::size_t c) { return zorvane_remote_configs_value(i.flag() ? "k" : key, fallback, b, c); });
    },
    [](Input& i) { ask(i, zorvane_remote_configs_content); },
    [](Input& i) { ask(i, zorvane_ab_testing_id); },
    [](Input& i) { ask(i, zorvane_ab_testing_variant_id); },
    [](Input&) { (void)zorvane_is_remote_configs_ready(); },
    [](Input& i) { zorvane_start_timer(Text(i)); },
    [](Input& i) { zorvane_pause_timer(Text(i)); },
    [](Input& i) { zorvane_resume_timer(Text(i)); },
    [](Input& i) { (void)zorvane_stop_timer(Text(i)); },
    [](Input& i) {
      zorvane_timer* const timer = zorvane_timer_schedule(
          i.number(), [](void*) { zorvane_start_timer("t"); }, nullptr, i.flag());
      if (i.flag()) Library::get().fireTimers();
      (void)zorvane_timer_is_valid(timer);
      zorvane_timer_destroy(timer);
    },
    [](Input&) { zorvane_timers_serve(); },
    [](Input&) { zorvane_main_loop_pump(); },
    [](Input&) { (void)zorvane_main_loop_seconds_until_next_task(); },
    [](Input& i) {
      zorvane_set_log_callback(i.flag() ? +[](int, const char* line, void*) { (void)std::strlen(line); } : nullptr,
                               nullptr);
    },
    [](Input& i) {
      zorvane_set_remote_configs_callback(i.flag() ? +[](void*) { (void)zorvane_is_remote_configs_ready(); } : nullptr,
                                          nullptr);
    },
    [](Input& i) {
      zorvane_platform platform{};
      platform.size = i.oneOf({std::size_t{0}, std::size_t{8}, sizeof platform, SIZE_MAX});
      fuzz::require(!zorvane_platform_install(&platform), "a platform is taken too late");
    },
    [](Input&) { zorvane_flush(); },
    [](Input&) { zorvane_detach_callbacks(); },
    [](Input&) { zorvane_reachability_changed(); },
    [](Input& i) { zorvane_url_request_complete(static_cast<std::uint64_t>(i.whole()), nullptr); },
    [](Input& i) { zorvane_background_task_expired(static_cast<std::uint64_t>(i.whole())); },
    [](Input& i) {
      zorvane_set_session_started_callback(i.flag() ? +[](void*) { zorvane_end_session(); } : nullptr, nullptr);
    },
    [](Input& i) { zorvane_set_reachability_callback(i.flag() ? +[](void*) { zorvane_flush(); } : nullptr, nullptr); },
    [](Input&) { Library::get().settle(); },
    [](Input&) { Library::get().fireTimers(); },
    [](Input&) { Library::get().restart(); },
    [](Input& i) { Library::get().now += static_cast<double>(i.whole() % 100'000); },
});

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Library& library = Library::get();
  library.forget();
  Input input(bytes, size);
  const std::string configs = R"({"server_ts":1700000000,"configs":[{"key":"k","value":"\u20ac","start_ts":null,)"
                              R"("end_ts":null}],"configs_hash":"h","ab_id":"a","ab_variant_id":"b"})";
  const long status = input.oneOf({201L, 201L, 200L, 401L, 0L});
  library.answer = [&](const ZVURLRequest& request) {
    return fuzz::isInit(request) ? fuzz::Reply{configs, status, 0} : fuzz::Reply{"[]", 200, 0};
  };
  if (input.flag()) library.initialise();
  for (int calls = 0; calls < 64 && !input.isEmpty(); ++calls) kCalls[input.byte() % kCalls.size()](input);
  library.settle();
  library.requireThatAllIsTaken();
  zorvane_set_log_callback(nullptr, nullptr);
  zorvane_set_remote_configs_callback(nullptr, nullptr);
  return 0;
}
