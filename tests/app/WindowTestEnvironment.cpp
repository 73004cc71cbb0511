#include "WidgetTestEnvironment.h"

namespace {
const auto* const g_environment =
    testing::AddGlobalTestEnvironment(new QoTest::WidgetTestEnvironment("window_tests"));
} // namespace
