#include "App/Control/ControlStatus.h"

namespace halcyra {

std::string ControlStatus::line() const {
  switch (kind) {
    case Kind::firmware:
      return "Apple's firmware drives the fans";
    case Kind::waitingForTemperatures:
      return "Waiting for temperatures";
    case Kind::paused:
      return "Paused: " + detail + " is running";
    case Kind::monitoringOnly:
      return "Monitoring only: " + detail;
    case Kind::starting:
      return "Starting…";
    case Kind::driving:
      return "Driving";
    case Kind::handingBack:
      return "Handing the fans back…";
  }
  return "";
}

}  // namespace halcyra
