/* A game in C that reports one event into the folder it is given, and exits. Tells the library's version. */
#include <stdio.h>

#include <zorvane/ZVVersion.h>
#include <zorvane/zorvane_c.h>

int main(int count, char** arguments) {
  struct zorvane_platform platform = {0};
  zorvane_map* fields = zorvane_map_create();
  if (count != 2) return 2;
  platform.size = sizeof platform;
  platform.data_directory = arguments[1];
  platform.collector_protocol = "http";
  platform.collector_hostname = "127.0.0.1";
  platform.collector_port = "9"; /* nobody answers there: the event stays in the folder */
  platform.exit_seconds = 20;
  if (!zorvane_platform_install(&platform)) return 1;
  zorvane_configure_build("1.0");
  zorvane_initialize("1641af3f7ec9333250f7f1af63aca87f", "d9d5c9ad434d9b74b3d738a72024670b3a043faa");
  zorvane_map_set_text(fields, "by", "consumer");
  zorvane_add_design_event_with_value("package:used", 1.0, fields, false);
  zorvane_map_destroy(fields);
  printf("%s %.1f\n", ZorvaneVersionString, ZorvaneVersionNumber);
  return 0;
}
