#pragma once

#include <cstddef>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/oflog/oflog.h"
#include "dcmtk/oflog/spi/logevent.h"

namespace radvex::test {

/// Counts DCMTK's warnings about elements that it had to insert before others, for as long as this lives. Other
/// messages go nowhere meanwhile, and the log is silent after.
class OrderWarnings {
  public:
    OrderWarnings() : mOwner(mCounter) {
        mRoot.removeAllAppenders();
        mRoot.addAppender(mOwner);
        mRoot.setLogLevel(dcmtk::log4cplus::WARN_LOG_LEVEL);
    }
    ~OrderWarnings() {
        mRoot.removeAppender(mOwner);
        mRoot.setLogLevel(dcmtk::log4cplus::OFF_LOG_LEVEL);
    }
    OrderWarnings(const OrderWarnings&) = delete;
    OrderWarnings& operator=(const OrderWarnings&) = delete;

    std::size_t count() const { return mCounter->count; }

  private:
    class Counter : public dcmtk::log4cplus::Appender {
      public:
        ~Counter() override { destructorImpl(); }
        void close() override {}

        std::size_t count = 0;

      protected:
        void append(const dcmtk::log4cplus::spi::InternalLoggingEvent& event) override {
            const OFString message = event.getMessage().c_str();
            count += message.find("not in ascending tag order") != OFString_npos ? 1U : 0U;
        }
    };

    dcmtk::log4cplus::Logger mRoot = dcmtk::log4cplus::Logger::getRoot();
    Counter* mCounter = new Counter;
    dcmtk::log4cplus::SharedAppenderPtr mOwner;
};

} // namespace radvex::test
