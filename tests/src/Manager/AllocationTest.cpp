#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "Manager/OQCampaignList.h"
#include "Manager/OQDecisionLog.h"
#include "Model/OQWindowData.h"
#include "support/EngineTest.h"

// The sanitizers bring operators of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace {
thread_local std::size_t allocations = 0;
}

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size ? size : 1)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace oq::test {
namespace {

TEST(AllocationTest, MatchingAndNotingTheDecisionAllocateNothing) {
  OQCampaignList::Windows windows;
  for (int i = 0; i < 200; ++i) {
    const Value awaited = i % 3 == 0 ? Value{{"xwhat", "e0"}} : Value();
    windows.push_back(OQCampaignList::windowFrom(
        campaign(std::to_string(i), "e" + std::to_string(i % 10),
                 {{"preEvent", awaited},
                  {"event",
                   {{"xwhat", "e" + std::to_string(i % 10)},
                    {"xcontext", {{"k" + std::to_string(i % 4), std::to_string(i % 5)}}}}}})));
  }
  const OQCampaignList list(windows);
  std::vector<OQWindowEvent> events(13);
  for (std::size_t i = 0; i < events.size(); ++i) {
    Dictionary context;
    for (std::size_t k = 0; k < i; ++k) context["k" + std::to_string(k)] = std::to_string(k);
    events[i].setModelWithDic(uploadInfo("e" + std::to_string(i), context));
  }
  OQDecisionLog log;
  std::size_t matched = 0;
  allocations = 0;
  for (int round = 0; round < 100; ++round) {
    for (const OQWindowEvent& event : events) {
      const OQCampaignMatch match = list.match(event);
      const bool isMatch = match.position != OQCampaignMatch::nowhere;
      if (isMatch) log.record(OQDecision::CountUsedUp, &event, windows[match.position]);
      if (!isMatch) log.record(OQDecision::NoMatch, &event);
      matched += isMatch ? 1 : 0;
    }
  }
  EXPECT_EQ(allocations, 0u);
  EXPECT_GT(matched, 0u);
  auto counted = std::make_unique<int>(1);
  EXPECT_EQ(allocations, 1u) << "the count works";
}

}  // namespace
}  // namespace oq::test

#endif
