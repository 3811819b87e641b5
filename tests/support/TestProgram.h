#pragma once

#include <QTest>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

/// \file
/// One test program of several Qt Test classes: each file registers its own, and main() runs them
/// one after the other.

/// A Qt Test class of this program.
struct TestClass
{
    std::string_view name; ///< its file's, without folder and ending: "tst_replies"
    std::unique_ptr<QObject> (*make)();
};

/// All classes of this program, in no particular order.
inline std::vector<TestClass>& testClasses()
{
    static std::vector<TestClass> all;
    return all;
}

/// Adds the Qt Test class `Test` to this program, as in
///
///     const RegisteredTest<TestReplies> registered(__FILE__);
template <typename Test> class RegisteredTest
{
public:
    explicit RegisteredTest(std::string_view file)
    {
        const std::string_view name = file.substr(file.rfind('/') + 1);
        testClasses().push_back({name.substr(0, name.find('.')),
            [] { return std::unique_ptr<QObject>(std::make_unique<Test>()); }});
    }
};

/// Runs the test class that the first argument names, with Qt Test's own options after it, or all
/// of them when it names none. Returns how many failed; 1 when there is no class of that name.
inline int runTests(int argc, char** argv)
{
    std::vector<TestClass> chosen = testClasses();
    std::vector<char*> arguments(argv, argv + argc);
    if (argc > 1 && *argv[1] != '-') {
        const std::string_view name = argv[1];
        std::erase_if(chosen, [name](const TestClass& test) { return test.name != name; });
        arguments.erase(arguments.begin() + 1);
        if (chosen.empty())
            std::fprintf(stderr, "no test class %s\n", argv[1]);
    }
    std::sort(chosen.begin(), chosen.end(),
        [](const TestClass& a, const TestClass& b) { return a.name < b.name; });
    int failed = chosen.empty() ? 1 : 0;
    for (const TestClass& test : chosen)
        failed += QTest::qExec(
            test.make().get(), static_cast<int>(arguments.size()), arguments.data());
    return failed;
}
