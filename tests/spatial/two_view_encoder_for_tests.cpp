// Stands in for the two-view encoder's program: keeps to the protocol except where `VEYRIN_TWO_VIEW_FAKE`
// says otherwise: the name of a fault, for those that have to do with a pair followed by ":" and its number
// from 1. Each view is coded as a slice that carries the sum of its samples.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "common/platform/program.h"
#include "spatial/two_view_protocol.h"
#include "tests/common/child_tasks.h"
#include "tests/spatial/coded_views.h"
#include "tests/spatial/sequence_header.h"

namespace veyrin::test {
namespace {

using namespace two_view;

struct Fault {
  std::string name;
  std::uint64_t pair = 0;

  static Fault wanted() {
    const std::string text = platform::environment_value("VEYRIN_TWO_VIEW_FAKE").value_or("");
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) return {text, 0};
    return {text.substr(0, colon), std::stoull(text.substr(colon + 1))};
  }
  [[nodiscard]] bool is(const char* other) const { return name == other; }
};

[[noreturn]] void stay() {
  while (true) std::this_thread::sleep_for(std::chrono::hours(1));
}

void take(std::span<std::uint8_t> into) {
  if (std::fread(into.data(), 1, into.size(), stdin) != into.size()) std::exit(90);
}

void give(ByteSpan bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || std::fflush(stdout) != 0)
    std::exit(91);
}

Bytes bytes_of(const std::string& text) {
  return {text.begin(), text.end()};
}

Request take_request() {
  std::array<std::uint8_t, RequestHead::size> head{};
  take(head);
  Bytes body(parse_request_head(head).bytes);
  take(body);
  const auto request = parse_request(body);
  if (!request) std::exit(92);
  return *request;
}

/// Faults that show before the first picture.
void answer_request(const Request& request, const Fault& fault) {
  if (fault.is("exit")) std::exit(3);
  if (fault.is("silent")) stay();
  if (fault.is("failed")) {
    give(write_failed("no preset is called " + request.preset));
    std::exit(1);
  }
  if (fault.is("nonsense")) {
    give(bytes_of("Usage: some-other-program [OPTIONS]\n"));
    std::exit(2);
  }
  Bytes sets = bytes_of(sequence_header());
  if (fault.is("left-sets-only"))
    sets = bytes_of(stream_of({two_view_sets()[0], two_view_sets()[1], two_view_sets()[2]}));
  Bytes opened = write_opened(sets);
  if (fault.is("version")) opened[RecordHead::size] = 7;
  if (fault.is("cut-answer")) opened.pop_back();
  give(opened);
  if (fault.is("cut-answer")) std::exit(0);
}

/// Faults of one unit.
void give_unit(std::uint64_t number, const std::array<std::string, 2>& views, const Fault& fault) {
  const bool at_fault = fault.pair == number;
  const auto is = [&](const char* name) { return at_fault && fault.is(name); };
  const auto pts = static_cast<std::int64_t>(number) - 1;
  Unit unit;
  unit.pts = unit.dts = pts;
  unit.key = number == 1;
  std::string left = views[0];
  std::string right = views[1];
  if (is("pts")) unit.pts += 5;
  if (is("dts")) unit.dts -= 1;
  if (is("again")) unit.pts -= 1;
  if (is("key")) unit.key = !unit.key;
  if (is("no-key")) unit.key = false;
  if (is("left-only")) right.clear();
  if (is("right-only")) left.clear();
  if (is("swapped")) std::swap(left, right);
  unit.left_bytes = static_cast<std::uint32_t>(left.size());
  if (is("lost")) return;
  Bytes record = write_unit_head(unit, right.size());
  for (const std::string& view : {left, right}) record.insert(record.end(), view.begin(), view.end());
  if (is("cut-unit")) record.pop_back();
  give(record);
  if (is("cut-unit")) std::exit(0);
}

void take_pictures(const Request& request, const Fault& fault) {
  Bytes picture(picture_bytes(request));
  for (std::uint64_t pairs = 0;; ++pairs) {
    std::array<std::uint8_t, mark_size> mark{};
    take(mark);
    if (mark == end_mark) {
      std::array<std::uint8_t, 8> count{};
      take(count);
      if (fault.is("silent-at-end")) stay();
      give(write_done(fault.is("short") ? pairs - 1 : pairs));
      if (fault.is("stays")) stay();
      return;
    }
    if (mark != pair_mark) std::exit(93);
    const bool at_fault = fault.pair == pairs + 1;
    const bool key = pairs == 0 && !(at_fault && fault.is("no-key"));
    std::array<std::string, 2> views;
    for (std::size_t view = 0; view < views.size(); ++view) {
      take(picture);
      views[view] = summed_view(static_cast<int>(view), key, picture);
    }
    if (at_fault && fault.is("die")) std::exit(9);
    if (at_fault && fault.is("stall")) stay();
    if (at_fault && fault.is("fail")) {
      give(write_failed("out of ideas"));
      std::exit(1);
    }
    if (at_fault && fault.is("garbage")) give(Bytes(64, 0xFF));
    if (at_fault && fault.is("early-end")) give(write_done(pairs));
    give_unit(pairs + 1, views, fault);
  }
}

int run() {
  make_streams_binary();
  const Fault fault = Fault::wanted();
  const Request request = take_request();
  answer_request(request, fault);
  take_pictures(request, fault);
  return fault.is("status") ? 7 : 0;
}

}  // namespace
}  // namespace veyrin::test

int main() {
  return veyrin::test::run();
}
