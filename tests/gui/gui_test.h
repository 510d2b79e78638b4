#pragma once
// The desktop's tests: Qt Test classes, each registered here and run in turn by one program on
// the offscreen platform, each in a data folder and home of its own.

#include <QObject>
#include <QTest>
#include <functional>
#include <memory>
#include <vector>

namespace vantorel::gui_test {

using Factory = std::function<std::unique_ptr<QObject>()>;
std::vector<Factory>& Registry();

template <typename TestClass>
struct Register {
    Register() {
        Registry().push_back([] { return std::make_unique<TestClass>(); });
    }
};

}  // namespace vantorel::gui_test

// Registers the Qt Test class with the desktop's test program, under a name of its own: test
// files are compiled several to a translation unit.
#define VANTOREL_GUI_TEST(TestClass) VANTOREL_GUI_TEST_NAMED(TestClass, __COUNTER__)
#define VANTOREL_GUI_TEST_NAMED(TestClass, count) VANTOREL_GUI_TEST_VARIABLE(TestClass, count)
#define VANTOREL_GUI_TEST_VARIABLE(TestClass, count) \
    static const vantorel::gui_test::Register<TestClass> registeredTestClass##count
