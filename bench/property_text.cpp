// Reading the property text is linear in its length: the time per item stays
// the same from 10,000 to 1,000,000 items, for the cursor that an object's
// setProperty and the container parsers read with, and for the
// pretty-printer. The items are of the kinds a real text holds: plain values,
// typed ones, nested containers, escaped braces, and comments between them.
// There is no peer; the figure is the ratio of the per-item times.
//
// The program runs under glibc's default allocator settings, which hand large
// freed blocks back to the system: each call at a million items thus gets
// fresh pages for its result and its brace table, which the library takes in
// huge pages where the kernel offers them.
#include <benchmark/benchmark.h>

#include <string>
#include <string_view>

#include <orvo/core/PropertyText.h>
#include <orvo/core/String.h>

#include "property/PropertyTextReader.h"

namespace {

using orvo::String;
using orvo::property::PropertyTextReader;

String sampleText(long items) {
  std::wstring text;
  for (long i = 0; i < items; ++i) {
    switch (i % 4) {
      case 0: text += L"width{" + std::to_wstring(i) + L"}"; break;
      case 1: text += L"size:Point{640,480}\n"; break;
      case 2: text += L"list:intArray{ {1}{2}{3} }  # three\n"; break;
      default: text += L"title{a \\{b\\} c\\\\}"; break;
    }
  }
  return String(text.c_str());
}

void reportPerItem(benchmark::State& state) {
  state.counters["ns_per_item"] = benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// As setProperty reads: item after item, each value handed on as a String.
void BM_PropertyText_ReadItems(benchmark::State& state) {
  const String text = sampleText(state.range(0));
  long items = 0;
  for (auto _ : state) {
    items = 0;
    PropertyTextReader reader(std::wstring_view(text.getBuffer(), static_cast<std::size_t>(text.getLength())));
    for (reader.skip(); !reader.atEnd(); reader.skip()) {
      const PropertyTextReader::Item item = reader.readItem();
      String value(item.value.data(), static_cast<int>(item.value.size()));
      benchmark::DoNotOptimize(value);
      ++items;
    }
  }
  if (items != state.range(0)) state.SkipWithError("wrong item count");
  reportPerItem(state);
}
BENCHMARK(BM_PropertyText_ReadItems)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_PropertyText_Normalize(benchmark::State& state) {
  const String text = sampleText(state.range(0));
  String printed;
  for (auto _ : state) {
    printed = orvo::propertyStringNormalize(text, L"");
    benchmark::DoNotOptimize(printed);
  }
  if (printed.getLength() <= text.getLength() / 2) state.SkipWithError("text lost");
  reportPerItem(state);
}
BENCHMARK(BM_PropertyText_Normalize)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
