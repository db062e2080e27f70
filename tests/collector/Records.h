// Records as the library writes them, to be changed by tests of the collector.
#pragma once

#include <string>
#include <string_view>

namespace collector {

inline constexpr std::string_view kUuid = "0a1b2c3d-0000-4000-8000-00000000000f";

// What every record of a kind has in common, open at its end.
inline const std::string kCommon =
    R"({"v":2,"user_id":"u","event_uuid":"0a1b2c3d-0000-4000-8000-00000000000f","ios_idfa":"","ios_idfv":"",)"
    R"("client_ts":1700000000,"sdk_version":"linux 1","os_version":"linux 6","manufacturer":"m","device":"x",)"
    R"("platform":"linux","session_id":"","session_num":1,"connection_type":"wifi","build":"")";

inline std::string record(std::string_view category, std::string_view own) {
  std::string text = kCommon + R"(,"category":")";
  text.append(category).append(own.empty() ? "\"" : "\",").append(own);
  return text + '}';
}

inline const std::string kDesign = record("design", R"("event_id":"a:b","value":1.5)");
inline const std::string kTrouble =
    R"({"v":2,"event_uuid":"0a1b2c3d-0000-4000-8000-00000000000f","category":"sdk_error","sdk_version":"linux 1",)"
    R"("os_version":"linux 6","manufacturer":"m","device":"x","platform":"linux","error_category":"db",)"
    R"("error_area":"sql","error_action":"sql_prepare"})";
inline const std::string kInit =
    R"({"user_id":"u","ios_idfa":"","ios_idfv":"","sdk_version":"linux 1","os_version":"linux 6",)"
    R"("platform":"linux","build":"","random_salt":0})";

inline std::string replaced(std::string text, std::string_view part, std::string_view instead) {
  return text.replace(text.find(part), part.size(), instead);
}

}  // namespace collector
