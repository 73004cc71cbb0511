#include "WidgetTestEnvironment.h"

namespace {
const auto* const g_environment =
    testing::AddGlobalTestEnvironment(new QoTest::WidgetTestEnvironment("controls_tests"));
} // namespace
