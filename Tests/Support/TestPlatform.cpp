#include "Support/TestPlatform.h"

namespace halcyra::test {

TestPlatform::TestPlatform(const std::shared_ptr<VirtualProcess>& applicationProcess, IOKit& iokit,
                           FanControlHelperConnections& machServices)
    : process(applicationProcess),
      power(process->mainQueue()),
      notifications(*process),
      platform{process->clock(),  *process,     log,    iokit,      machServices,
               serviceManagement, userDefaults, system, activities, power,
               notifications,     workspace,    files} {}

}  // namespace halcyra::test
