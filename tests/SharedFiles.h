#pragma once
// Tests that read the files of ../shared beside the checkout (real messages with expected values,
// real Access files) name themselves with QO_TESTS_READ_SHARED. A clone without those files leaves
// them out: they are not even listed, so CTest registers nothing for them (CMake says so once when
// it configures the tests).

namespace QoTest {

enum class SharedFiles { Corpus, AccessFiles };

/// Notes a gtest name pattern ("Suite.*", "Suite.Name") of tests that need
/// the files; main() leaves them out when the files are missing.
bool testsReadShared(SharedFiles files, const char* pattern);

} // namespace QoTest

#define QO_SHARED_CONCAT2(a, b) a##b
#define QO_SHARED_CONCAT(a, b) QO_SHARED_CONCAT2(a, b)
#define QO_TESTS_READ_SHARED(files, pattern)                                                       \
    [[maybe_unused]] static const bool QO_SHARED_CONCAT(qoReadsShared, __LINE__) =                 \
        QoTest::testsReadShared(QoTest::SharedFiles::files, pattern)
