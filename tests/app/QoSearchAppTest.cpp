#include "app/QoSearchApp.h"

#include <gtest/gtest.h>

TEST(QoSearchApp, ErrorStringsAreExact) {
    Kerf::CExceptionBase inner(L"disk full");
    Kerf::CExceptionBase outer(L"Index usage problem (/x)", inner);
    EXPECT_EQ(CQoSearchApp::getErrorString(outer),
              L"Index usage problem (/x)\n\nReported as: disk fullStack trace is:\n\n" +
                  outer.getStackTrace());
    Kerf::CExceptionBase alone(L"Something broke");
    EXPECT_EQ(CQoSearchApp::getErrorString(alone),
              L"Something broke\n\nStack trace is:\n\n" + alone.getStackTrace());
    EXPECT_FALSE(alone.getStackTrace().empty());
}
