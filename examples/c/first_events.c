/* A whole game in C, as far as Zorvane is concerned: it starts, plays a level, and leaves.
 *
 *   first_events PROTOCOL HOST PORT DATA_DIRECTORY
 *
 * with a collector on PROTOCOL://HOST:PORT, such as zorvane-collector. */
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <time.h>

#include <zorvane/zorvane_c.h>

static const char* const kGameKey = "0123456789abcdef0123456789ABCDEF";
static const char* const kGameSecret = "0123456789abcdef0123456789ABCDEF01234567";

static void print_line(int type, const char* line, void* user) {
  (void)user;
  if (type == ZORVANE_LOG_INFO) printf("log: %s\n", line); /* warnings and errors are on standard error already */
}

static void count_run(void* user) { ++*(int*)user; }

/* What the kernel calls itself; asked whenever the library needs it. */
static void read_device(struct zorvane_device* device, void* user) {
  (void)user;
  device->system_version = "6.1";
  device->hardware_name = "x86_64";
  device->platform_name = "linux";
  device->maker = "debian";
}

static bool install_platform(char** argv) {
  struct zorvane_platform platform = {0};
  struct zorvane_device_source device = {0};
  device.size = sizeof device;
  device.read = read_device;
  platform.size = sizeof platform;
  platform.bundle_identifier = "com.example.first";
  platform.version = "1.4.2";
  platform.collector_protocol = argv[1];
  platform.collector_hostname = argv[2];
  platform.collector_port = argv[3];
  platform.data_directory = argv[4];
  platform.pumped_main_loop = true;
  platform.device_source = &device;
  platform.event_queue_seconds = 1; /* for development: events are seen soon */
  return zorvane_platform_install(&platform);
}

static void configure(void) {
  static const char* const heroes[] = {"knight", "archer"};
  static const char* const currencies[] = {"coins"};
  static const char* const item_types[] = {"potion", "chest"};
  zorvane_set_enabled_info_log(true);
  zorvane_configure_build("1.4.2");
  zorvane_configure_available_custom_dimensions01(heroes, 2);
  zorvane_configure_available_resource_currencies(currencies, 1);
  zorvane_configure_available_resource_item_types(item_types, 2);
  zorvane_initialize(kGameKey, kGameSecret);
  zorvane_set_custom_dimension01("archer");
}

static void next_frame(void) {
  const struct timespec frame = {0, 16000000};
  zorvane_main_loop_pump();
  nanosleep(&frame, NULL);
}

/* The collector's word on how many lives the player has, or the game's own when it doesn't say. */
static void show_lives(void) {
  char lives[8];
  int frames = 0;
  while (!zorvane_is_remote_configs_ready() && ++frames < 600) next_frame();
  if (zorvane_remote_configs_value("lives", "3", lives, sizeof lives) != ZORVANE_ABSENT) printf("lives: %s\n", lives);
}

static void watch_ad(void) {
  zorvane_map* data = zorvane_map_create();
  zorvane_map* revenue = zorvane_map_create();
  zorvane_map_set_double(revenue, "usd", 0.25);
  zorvane_map_set_text(data, "country", "DE");
  zorvane_map_set_map(data, "revenue", revenue);
  zorvane_add_ad_event_with_duration(ZORVANE_AD_SHOW, ZORVANE_AD_TYPE_VIDEO, "admob", "shop", 15000, NULL, false);
  zorvane_add_impression_event(ZORVANE_AD_NETWORK_AD_MOB, "1.2.3", data, NULL, false);
  zorvane_map_destroy(revenue);
  zorvane_map_destroy(data);
}

static void play_level(void) {
  zorvane_map* fields = zorvane_map_create();
  zorvane_map_set_text(fields, "weapon", "bow");
  zorvane_map_set_int64(fields, "arrows", 12);
  zorvane_map_set_bool(fields, "perfect", false);
  zorvane_start_timer("castle");
  zorvane_resume_timer("castle");
  zorvane_add_progression_event(ZORVANE_PROGRESSION_START, "world01", "castle", NULL, NULL, false);
  zorvane_add_design_event("castle:door:opened", fields, false);
  zorvane_add_resource_event(ZORVANE_FLOW_SOURCE, "coins", 25, "chest", "hidden", NULL, false);
  watch_ad();
  zorvane_add_business_event("EUR", 199, "pack", "starter", "shop", NULL, false, NULL, false);
  zorvane_add_error_event(ZORVANE_SEVERITY_WARNING, "texture missing: door_03", NULL, false);
  zorvane_add_design_event_with_value("castle:milliseconds", (double)zorvane_stop_timer("castle"), fields, false);
  zorvane_add_progression_event_with_score(ZORVANE_PROGRESSION_COMPLETE, "world01", "castle", NULL, 4200, fields, true);
  zorvane_map_destroy(fields);
}

int main(int argc, char** argv) {
  int runs = 0;
  zorvane_timer* timer = NULL;
  if (argc != 5) {
    fprintf(stderr, "usage: first_events PROTOCOL HOST PORT DATA_DIRECTORY\n");
    return 2;
  }
  zorvane_set_log_callback(print_line, NULL);
  if (!install_platform(argv)) return 1;
  configure();
  timer = zorvane_timer_schedule(0, count_run, &runs, false);
  show_lives();
  play_level();
  while (zorvane_timer_is_valid(timer)) next_frame();
  zorvane_timer_destroy(timer);
  printf("timer runs: %d\n", runs);
  zorvane_flush();                /* sends what waits now */
  zorvane_did_enter_background(); /* ends the session; the exit waits a moment for its events to be sent */
  return 0;
}
