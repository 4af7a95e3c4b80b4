#pragma once

#include <functional>
#include <map>
#include <string>

#include "tests/dicom/DicomTest.h"

namespace radvex::test {

/// The code that a function returns when the n-th call of an operation is refused, by n; n = 0 stands for all others.
using Codes = std::map<long, int>;

/// Refuses, one after the other, each call that `action` makes of each operation and link function.
class Refusals : public LibraryTest {
  protected:
    /// Checks the code of each refused run, and that a run without refusals gives `usual`.
    void sweep(const std::function<int()>& action, int usual, const std::map<std::string, Codes>& expected) {
        velmora::ledger().refuseNothing();
        ASSERT_EQ(action(), usual);
        const auto operations = operationCalls();
        const auto links = velmora::ledger().linkCalls();
        for (const auto& [operation, calls] : operations) {
            for (long n = 1; n <= calls; ++n) {
                velmora::ledger().refuse(operation, n);
                EXPECT_EQ(action(), codeFor(expected, names[operation], n, usual)) << names[operation] << ' ' << n;
                expectNextCallWorks(action, usual);
            }
        }
        for (const auto& [function, calls] : links) {
            for (long n = 1; n <= calls; ++n) {
                velmora::ledger().refuseLink(function, n);
                EXPECT_EQ(action(), codeFor(expected, function, n, usual)) << function << ' ' << n;
                expectNextCallWorks(action, usual);
            }
        }
    }

  private:
    std::map<velmora::Operation, long> operationCalls() {
        std::map<velmora::Operation, long> calls;
        for (const auto& [operation, name] : names) {
            calls[operation] = velmora::ledger().calls(operation);
        }
        return calls;
    }

    static int codeFor(const std::map<std::string, Codes>& expected, const std::string& name, long n, int usual) {
        const auto codes = expected.find(name);
        if (codes == expected.end()) {
            return usual;
        }
        const auto exact = codes->second.find(n);
        const auto other = codes->second.find(0);
        return exact != codes->second.end() ? exact->second : other != codes->second.end() ? other->second : usual;
    }

    void expectNextCallWorks(const std::function<int()>& action, int usual) {
        velmora::ledger().refuseNothing();
        EXPECT_EQ(action(), usual) << "the next call";
    }

    std::map<velmora::Operation, std::string> names{
#define NAME_OF(operation) {velmora::Operation::operation, #operation},
        VELMORA_REFUSABLE_OPERATIONS(NAME_OF)
#undef NAME_OF
    };
};

} // namespace radvex::test
