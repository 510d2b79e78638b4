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

// Registers the Qt Test class with the desktop's test program.
#define VANTOREL_GUI_TEST(TestClass) \
    static const vantorel::gui_test::Register<TestClass> registeredTestClass
