// Where a job's memory comes from: guards, kinds and their names, what the system grants.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <utility>

#include "foundation/config/notation.h"
#include "memory/aligned_malloc.h"
#include "memory/allocator_menu.h"
#include "memory/interleaving.h"
#include "memory/large_pages.h"
#include "memory/memory_block.h"
#include "memory/page_locking.h"
#include "support/console_io.h"
#include "support/faults.h"
#if __has_include(<sys/wait.h>)
#include <sys/resource.h>

#include "platform/posix/proc.h"
#include "support/child.h"
#endif

namespace nmp {
namespace {

using platform::LockResult;
using test::expect_fault;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr const char* kUnderrun = "Memory buffer has been underrun.";
constexpr const char* kOverrun = "Memory buffer has been overrun.";
const char* const kDescriptions[] = {
    "malloc",           "mmap",
    "mmap:lockedpages", "mmap:largepages,lockedpages",
    "interleave",       "interleave:largepages,lockedpages,nobind"};

template <typename T>
T read_at(const unsigned char* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

TEST(AlignedMalloc, LaysOutGuardsAroundEveryBlock) {
  for (const std::size_t alignment : {1, 2, 3, 4, 8, 64, 4096})
    for (const std::size_t size : {0, 1, 63, 64, 1001}) {
      auto* p = static_cast<unsigned char*>(aligned_malloc(size, alignment));
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % std::max<std::size_t>(alignment, 4), 0u);
      EXPECT_EQ(read_at<std::uint32_t>(p - 4), 0x4BD0187Du);
      EXPECT_EQ(read_at<std::size_t>(p - 4 - sizeof(void*)), size);
      EXPECT_LT(read_at<unsigned char*>(p - 4 - 2 * sizeof(void*)), p);
      EXPECT_EQ(read_at<std::uint32_t>(p + size), 0x0559CFE4u);
      std::memset(p, 0xff, size);
      aligned_free(p);
    }
  aligned_free(nullptr);
  for (const std::size_t alignment : {5u, 24u, 96u})
    expect_fault<InvalidParametersException>("aligned_malloc()",
                                             "Alignment must be a power of two.",
                                             [&] { aligned_malloc(8, alignment); });
  EXPECT_THROW(aligned_malloc(~std::size_t{0} - 64, 64), std::bad_alloc);
  EXPECT_THROW(aligned_malloc(~std::size_t{0} / 2 + 1, 64), std::bad_alloc);
}

TEST(AlignedMalloc, FindsEveryByteWrittenOutside) {
  auto* p = static_cast<unsigned char*>(aligned_malloc(101, 64));
  for (int i = -4; i < 105; ++i) {
    if (i >= 0 && i < 101) continue;
    p[i] ^= 1;
    expect_fault<AlgorithmFailedException>("aligned_free()", i < 0 ? kUnderrun : kOverrun,
                                           [&] { aligned_free(p); });
    p[i] ^= 1;  // what was refused is still there
  }
  aligned_free(p);
}

TEST(MemoryBlock, EveryKindGivesAndTakesBackWholeBlocks) {
  for (const char* description : kDescriptions) {
    constexpr std::size_t kSize = (std::size_t{5} << 20) + 1;
    MemoryBlock block(parse_allocator(description).make(), kSize);
    const AlignedBufferC buffer = block.buffer();
    EXPECT_EQ(buffer.bytes(), kSize + 63);
    EXPECT_THAT(block.statement(), HasSubstr("Large pages: "));
    EXPECT_THAT(block.statement(), HasSubstr(", locked: "));
    EXPECT_EQ(block.statement().find('\n'), std::string::npos);
    std::memset(buffer.ptr(), 0xff, buffer.bytes());
    block.release();
    block.release();  // is already
    for (const std::ptrdiff_t outside :
         {std::ptrdiff_t{-64}, std::ptrdiff_t{-1}, static_cast<std::ptrdiff_t>(kSize + 63),
          static_cast<std::ptrdiff_t>(kSize + 63 + 63)}) {
      MemoryBlock damaged(parse_allocator(description).make(), kSize);
      damaged.buffer().ptr()[outside] ^= std::byte{0x80};
      expect_fault<AlgorithmFailedException>(
          "MemoryBlock::release()", outside < 0 ? kUnderrun : kOverrun, [&] { damaged.release(); });
    }
    for (const std::size_t huge : {~std::size_t{0}, ~std::size_t{0} / 2})
      EXPECT_THROW(MemoryBlock(parse_allocator(description).make(), huge),
                   MemoryAllocationFailedException);
  }
}

TEST(AllocatorChoice, DescriptionsAndConfigurationsAgree) {
  for (const char* description : kDescriptions) {
    const AllocatorChoice choice = parse_allocator(description);
    EXPECT_EQ(choice.description(), description);
    config::Object object;
    add_to_config(object, choice);
    const config::Value read = config::parse_acfg(config::write(object, config::Format::kAcfg));
    EXPECT_EQ(allocator_from_config(read.object()).description(), description);
  }
  EXPECT_EQ(parse_allocator("mmap:lockedpages,largepages").description(),
            "mmap:largepages,lockedpages");
  config::Object object;
  add_to_config(object, parse_allocator("mmap:lockedpages"));
  EXPECT_THAT(config::write(object, config::Format::kAcfg),
              HasSubstr("\"mmap\"\r\n    LargePages : 0\r\n    LockedPages : 1\r\n"));
  const auto from = [](const char* text) {
    return allocator_from_config(config::parse_acfg(text).object()).description();
  };
  EXPECT_EQ(from("{MemoryPolicy:\"interleave\" LockPages:1}"), "interleave:lockedpages");
  EXPECT_THROW(from("{}"), KeyNotFoundException);
  EXPECT_THROW(from("{MemoryPolicy:\"mmap\" LargePages:\"1\"}"), ParseException);
  EXPECT_THROW(from("{MemoryPolicy:\"heap\"}"), InvalidParametersException);
}

TEST(AllocatorChoice, RefusesInPlainWords) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "Invalid Memory Allocator: "},
      {"heap", "Invalid Memory Allocator: heap"},
      {"MMAP", "Invalid Memory Allocator: MMAP"},
      {"malloc:largepages", "Memory allocator \"malloc\" has no setting \"largepages\"."},
      {"mmap:", "Memory allocator \"mmap\" has no setting \"\"."},
      {"mmap:largepages,", "Memory allocator \"mmap\" has no setting \"\"."}};
  for (const auto& [description, message] : cases) {
    try {
      parse_allocator(description);
      ADD_FAILURE() << description;
    } catch (const InvalidParametersException& e) {
      EXPECT_EQ(e.message(), message);
    }
  }
  AllocatorTypes types;
  types.add(allocator_types().at("mmap"));
  types.add(allocator_types().at("malloc"));
  expect_fault<InvalidParametersException>("AllocatorTypes::add()", "Duplicate Allocator Type",
                                           [&] { types.add(allocator_types().at("mmap")); });
  EXPECT_EQ(types.all().size(), 2u);
}

TEST(AllocatorMenu, OffersEveryKindAndItsSettings) {
  const auto choose = [](const char* typed) {
    std::optional<AllocatorChoice> choice;
    const std::string shown = test::on_console(
        typed, [&] { choice = choose_allocator(parse_allocator("mmap:largepages")); });
    EXPECT_THAT(shown, HasSubstr("Select a Memory Allocator:\n"));
    for (const AllocatorType& type : allocator_types().all())
      EXPECT_THAT(shown, HasSubstr(type.display_name));
    return choice ? choice->description() : "nothing";
  };
  EXPECT_EQ(choose("0\n"), "malloc");
  EXPECT_EQ(choose("1\n0\n1\n"), "mmap:lockedpages");
  EXPECT_EQ(choose("\n\n\n"), "mmap:largepages");
  EXPECT_EQ(choose("3\n-1\nx\n2\n\n1\n0\n"), "interleave:lockedpages,nobind");
  EXPECT_EQ(choose(""), "nothing");
  EXPECT_EQ(choose("1\n"), "nothing");
}

TEST(PageLocking, SplitsDownToAMebibyte) {
  std::vector<std::size_t> attempts;
  constexpr std::size_t kWhole = 3 << 19;  // 1.5 MiB
  const auto lock = [&](std::size_t bytes, std::size_t limit, LockResult past_limit) {
    attempts.clear();
    return lock_piecewise(nullptr, bytes, [=, &attempts](std::byte*, std::size_t size) {
      attempts.push_back(size);
      return size <= limit ? LockResult::kLocked : past_limit;
    });
  };
  EXPECT_EQ(lock(kWhole, 0, LockResult::kTooMany), 0u);
  EXPECT_THAT(attempts, ElementsAre(kWhole, kWhole / 2, kWhole / 2));
  EXPECT_EQ(lock(kWhole, 0, LockResult::kRefused), 0u);
  EXPECT_THAT(attempts, ElementsAre(kWhole));
  EXPECT_EQ(lock(5'000'001, 1'250'000, LockResult::kTooMany), 5'000'001u);
  EXPECT_EQ(lock(4'000'001, 1'000'000, LockResult::kTooMany), 3'000'000u) << "one piece too long";
  EXPECT_EQ(lock((1 << 20) - 1, 1, LockResult::kTooMany), 0u);
  EXPECT_EQ(attempts.size(), 1u);
}

TEST(LargePages, RoundSizesAndAlignments) {
  const auto round = [](std::size_t bytes, unsigned alignment, int page) {
    const LargePageRegion region = round_to_large_pages(bytes, alignment, page);
    return std::pair(region.bytes, region.alignment_exponent);
  };
  EXPECT_EQ(round(1, 6, 21), std::pair(std::size_t{1} << 21, 21u));
  EXPECT_EQ(round((1 << 21) + 1, 6, 21), std::pair(std::size_t{1} << 22, 21u));
  EXPECT_EQ(round((1 << 21) + 1, 23, 21), std::pair(std::size_t{1} << 23, 23u));
  EXPECT_EQ(round(65, 6, -1), std::pair(std::size_t{128}, 6u)) << "no large pages here";
  EXPECT_THROW(round(~std::size_t{0} - 100, 6, 21), MemoryAllocationFailedException);
  EXPECT_THROW(round(1, 200, 21), MemoryAllocationFailedException);
  const int exponent = large_page_exponent();
  EXPECT_EQ(exponent < 0 ? 0 : std::size_t{1} << exponent, platform::large_page_size());
}

TEST(Interleaving, SpreadsPiecesAndTellsWhereTheyLanded) {
  PlacementCount count;
  const int landed[] = {0, 1, 1, 0, -1};
  count.add(0, landed);
  count.add(1, std::span(landed).first(2));
  EXPECT_THAT(count.complaints(),
              ElementsAre("2 pages intended for node 0 landed on node 1 instead.",
                          "1 pages intended for node 0 landed on nowhere instead.",
                          "1 pages intended for node 1 landed on node 0 instead."));
  EXPECT_EQ(interleaving_piece(1), std::size_t{2} << 20);
  if (sizeof(std::size_t) > 4) {
    EXPECT_EQ(interleaving_piece(std::size_t{1} << (sizeof(std::size_t) > 4 ? 35 : 0)), 8u << 20);
  }

  // The machine's first node twice: everything but the distance is as with two.
  const unsigned node = platform::memory_nodes().front();
  std::vector<std::string> told;
  constexpr std::size_t kSize = (std::size_t{7} << 20) + 4000;
  const MemoryGrant grant = allocate_interleaved(
      {}, kSize, {node, node}, [&](const std::string& line) { told.push_back(line); });
  EXPECT_GE(grant.bytes, kSize);
  EXPECT_THAT(grant.statement,
              HasSubstr("Interleaved: 2 nodes, pieces of 2.00 MiB; Large pages: "));
  for (const std::string& line : told)  // only that the system did not allow it
    EXPECT_THAT(line, ::testing::AnyOf(HasSubstr(" error"), HasSubstr("failed to bind")));
  std::memset(grant.address, 1, kSize);
  release_interleaved(grant);

  // Nodes that do not exist: wishes that are refused, threads that cannot go there.
  told.clear();
  const MemoryGrant far = allocate_interleaved(
      {}, kSize, {node, 63}, [&](const std::string& line) { told.push_back(line); });
  std::memset(far.address, 1, kSize);
  release_interleaved(far);
  EXPECT_THAT(told, ::testing::Contains(HasSubstr("Thread 1 failed to bind to node 63")));
}

#if __has_include(<sys/wait.h>)
TEST(PageLocking, TakesWhatTheLimitAllowsAndTellsHowMuch) {
  test::Child child([] {
    const rlimit limit{3 << 20, 3 << 20};
    if (::setrlimit(RLIMIT_MEMLOCK, &limit) != 0) return 1;
    if (::geteuid() == 0 && ::setuid(65534) != 0) return 2;
    MemoryBlock block(parse_allocator("mmap:lockedpages").make(), 8 << 20);
    console::print_line(block.statement());
    const std::uint64_t kilobytes = platform::proc_status_value("VmLck:");
    console::flush();
    if (kilobytes < 2000 || kilobytes > 3072) return 3;
    block.release();
    return platform::proc_status_value("VmLck:") == 0 ? 0 : 4;
  });
  const test::ChildResult result = child.finish();
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.output, ::testing::ContainsRegex(", locked: [23][.0-9]* MiB of 8.0. MiB\n"));
}

TEST(MemoryBlock, GoesBackToTheSystem) {
  for (const char* description : kDescriptions) {
    test::Child child([&] {
      constexpr std::uint64_t kSize = 64 << 20;
      const auto resident = [] { return platform::proc_status_value("VmRSS:") * 1024; };
      const std::uint64_t before = resident();
      MemoryBlock block(parse_allocator(description).make(), kSize);
      std::memset(block.buffer().ptr(), 1, kSize);
      if (resident() < before + kSize / 10 * 9) return 1;
      block.release();
      return resident() < before + kSize / 10 ? 0 : 2;
    });
    EXPECT_EQ(child.finish().exit_code, 0) << description;
  }
}
#endif

}  // namespace
}  // namespace nmp
