// SPDX-License-Identifier: Apache-2.0

// The cost of a hook: a message to a method with one block hooked to it, compared with the same message without a hook.
#include "Hooks/OQSwizzler.h"
#include "Measure.h"
#include "UIKit/Controllers/UIViewController.h"
#include "oqsdk/AnalyticsHook.h"

namespace {

using namespace oq;
using namespace oq::bench;

constexpr int kRounds = 31;
constexpr int kCalls = 200000;

int originals = 0;
int blocks = 0;

class Uploader : public Object {
 public:
  explicit Uploader(Class* cls) : _class(cls) {}
  Class* class_() const override { return _class; }
  void _save(const Value&, const std::string&, const UploadHandler&) { ++originals; }

 private:
  Class* const _class;
};

Class* makeClass(const char* name) {
  return registerClass(name, Object::staticClass(), {method<&Uploader::_save>(saveUploadInfo)});
}

double nanosecondsOfACall(Uploader& uploader) {
  const Value info = 1;
  const std::string event = "buy";
  const UploadHandler handler;
  const double seconds = secondsOf([&] {
    for (int call = 0; call < kCalls; ++call) send(uploader, saveUploadInfo, info, event, handler);
  });
  return seconds / kCalls * 1e9;
}

}  // namespace

int main() {
  Uploader plain(makeClass("HookBenchPlain")), hooked(makeClass("HookBenchHooked"));
  OQUploadHookBlock block = [](Object&, SEL, const Value&, const std::string&, const UploadHandler&) { ++blocks; };
  OQSwizzler::swizzleSelector(saveUploadInfo, hooked.class_(), block, "bench");

  const auto [without, with] = inTurns(
      kRounds, [&] { return nanosecondsOfACall(plain); }, [&] { return nanosecondsOfACall(hooked); });
  const int calls = (kRounds + 1) * kCalls;
  require(originals == 2 * calls && blocks == calls, "each call runs the original, each hooked call also the block");

  std::vector<double> more;
  for (std::size_t round = 0; round < with.size(); ++round) more.push_back(with[round] - without[round]);
  note("hook_plain_call", median(without), "ns");
  note("hook_hooked_call", median(with), "ns");
  atMost("hook_more_than_plain_ns", median(more), 100);
}
