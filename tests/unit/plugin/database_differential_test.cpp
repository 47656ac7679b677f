// The plug-in's reader of trace databases gives what a plain one gives, or fails as that does:
// random texts from a fixed seed, most of them sound databases with something odd in them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "plugin/trace_db.h"
#include "plugin/trace_db_config.h"
#include "tests/support/differential_cases.h"
#include "tests/unit/plugin/plain_database_reader.h"

namespace {

// --- random texts -------------------------------------------------------------------------

class database_text_maker {
 public:
  explicit database_text_maker(unsigned seed) : random_(seed) {}

  std::string text() {
    members root = {{"meta", meta()},
                    {"buffers", list([&] { return buffer(); })},
                    {"peer_buffer_layers", list([&] { return buffer(); })},
                    {"peer_buffers", list([&] { return one_in(9) ? any() : buffer(); })},
                    {"traces", traces()},
                    {"static_data", object({{"static_strings", list([&] { return text_entry(); })},
                                            {"traces", traces()}})}};
    if (one_in(8)) root.emplace_back("traces", one_in(2) ? traces() : any());
    if (one_in(8)) root.emplace_back("other", traces());
    if (one_in(16)) root.emplace_back(odd_name("traces"), traces());
    std::string made = space() + object(std::move(root)) + space();
    if (one_in(40)) made = "[" + made + "]";
    if (one_in(40)) made.insert(0, "\xEF\xBB\xBF");
    while (one_in(3)) damage(made);
    return made;
  }

  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

 private:
  using members = std::vector<std::pair<std::string, std::string>>;

  bool one_in(unsigned count) { return below(count) == 0; }

  template <typename... Texts>
  std::string one_of(const Texts&... texts) {
    const std::string all[] = {std::string(texts)...};
    return all[below(sizeof...(texts))];
  }

  std::string space() { return one_in(6) ? one_of(" ", "\n", "\t", "\r\n  ") : ""; }

  // The same name, written in another way.
  static std::string odd_name(const std::string& name) {
    return "\\u00" + hex(name[0]) + name.substr(1);
  }

  static std::string hex(char c) {
    constexpr const char* digits = "0123456789abcdef";
    return {digits[c >> 4], digits[c & 15]};
  }

  // In any order, and now and then without one of them or with one twice.
  std::string object(members all) {
    std::shuffle(all.begin(), all.end(), random_);
    if (!all.empty() && one_in(150)) all.pop_back();
    if (!all.empty() && one_in(60)) all.emplace_back(all.front().first, any());
    if (!all.empty() && one_in(60)) all.emplace_back(all.back());
    std::string made = "{";
    for (const auto& [name, value] : all) {
      if (made.size() > 1) made += ',';
      made += space() + '"' + (one_in(50) ? odd_name(name) : name) + '"' + space() + ':' + space() +
              (one_in(150) ? any() : value) + space();
    }
    return made + "}";
  }

  template <typename Element>
  std::string list(const Element& element) {
    std::string made = "[";
    for (unsigned i = below(4); i > 0; --i) {
      made += space() + element() + space() + (i > 1 ? "," : "");
    }
    return made + "]";
  }

  std::string number() {
    if (!one_in(8)) return std::to_string(below(6));
    return one_of("-1", "4294967296", "4294967297", "18446744073709551615", "1.5", "3.0", "-2.5",
                  "1e300", "18446744073709551616", "-9223372036854775809", "true", "false", "-0",
                  "1E1", "2e-1");
  }

  std::string string() {
    return one_of(R"("")", R"("id")", R"("traces")", R"("AT_STRING")", R"("=>")", R"("}],[{\"\\")",
                  R"("\ud83d\ude00")", "\"\xC3\xA9\"", R"("MCU")", R"("a\u0000b")");
  }

  std::string any() {
    switch (below(9)) {
      case 0:
        return "null";
      case 1:
        return "[]";
      case 2:
        return "{}";
      case 3:
        return number();
      case 4:
        return string();
      case 5:
        return "[" + any() + "," + any() + "]";
      case 6:
        return R"({"traces":[{"id":)" + any() + "}]}";
      case 7:
        return R"({"id":)" + number() + R"(,"name":"x","x":)" + any() + "}";
      default:
        return list([&] { return trace(); });
    }
  }

  std::string buffer() {
    return object({{"id", number()}, {"name", string()}, {"layer", number()}, {"type", string()}});
  }

  std::string text_entry() { return object({{"id", number()}, {"value", string()}}); }

  std::string trace() {
    members all = {
        {"id", number()}, {"format", string()}, {"format_items", list([&] {
                                                   return object({{"reference", number()}});
                                                 })}};
    if (one_in(3)) all.emplace_back("more", any());
    if (one_in(10)) all.emplace_back("id", number());
    if (one_in(10)) all.emplace_back(odd_name("id"), number());
    return object(std::move(all));
  }

  std::string traces() {
    if (one_in(30)) return object({{"b", trace()}, {"a", trace()}, {"b", trace()}});
    if (one_in(30)) return any();
    return list([&] { return one_in(40) ? any() : trace(); });
  }

  std::string condition() {
    return object(one_in(2)
                      ? members{{"trace_id", number()}}
                      : members{{"id_range", object({{"min", number()}, {"max", number()}})}});
  }

  std::string meta() {
    members all = {
        {"id", number()},
        {"endianness", one_of(R"("big")", R"("little")")},
        {"trace_id_size", std::to_string(below(6) == 5 ? 5 : below(5))},
        {"type_mapping", one_in(3) ? any() : R"("id")"},
        {"trace_type_descriptors", list([&] {
           return object({{"type", string()}, {"conditions", list([&] { return condition(); })}});
         })}};
    if (one_in(2)) all.emplace_back("aliases", list([&] { return object({{"id", number()}}); }));
    if (one_in(2)) all.emplace_back("decoder_config", masters());
    if (one_in(2)) {
      all.emplace_back("connection_configs", object({{"dekodrix_config", masters()}}));
    }
    if (one_in(2)) all.emplace_back("min_data_size", number());
    if (one_in(2)) all.emplace_back("uuid", string());
    if (one_in(2)) all.emplace_back("name", string());
    return object(std::move(all));
  }

  std::string masters() {
    return object(
        {{"masters", list([&] {
            return object({{"id", number()}, {"aliases", list([&] { return number(); })}});
          })}});
  }

  void damage(std::string& text) {
    if (text.empty()) return;
    const std::size_t at = random_() % text.size();
    switch (below(6)) {
      case 0:
        text.resize(at);
        break;
      case 1:
        text[at] = static_cast<char>(random_());
        break;
      case 2:
        text.erase(at, below(4));
        break;
      case 3:
        text.insert(at, one_of(",", "{", "}", "[", "]", "\"", ":", "0", "-", "\\", "//", "\xFF"));
        break;
      case 4:
        text.insert(at, text.substr(random_() % text.size(), below(40)));
        break;
      default:
        text.insert(at, std::string(below(600), one_in(2) ? '[' : '0'));
        break;
    }
  }

  std::mt19937 random_;
};

// --- outcomes -----------------------------------------------------------------------------

struct database_outcome {
  std::string failure;  // the exception's type and text; empty for none
  std::optional<plain_database::record> record;
  std::vector<std::string> log;
  bool breaks_a_contract = false;
};

std::string described_failure(const std::exception& failure) {
  return std::string(typeid(failure).name()) + " " + failure.what();
}

database_outcome plain_outcome(const std::string& text) {
  database_outcome outcome;
  try {
    outcome.record = plain_database::read(text);
    const std::string& name = outcome.record->name;
    // A log line ends at a NUL.
    outcome.log.push_back("processed config json: " + name.substr(0, name.find('\0')));
  } catch (const plain_database::broken_contract&) {
    outcome.breaks_a_contract = true;
  } catch (const std::exception& failure) {
    outcome.failure = described_failure(failure);
  }
  return outcome;
}

// The definitions of the ids that `wanted` has, looked up twice, and ids between them as well.
std::map<std::uint32_t, kovax::json> looked_up(veltra::trace_definitions& definitions,
                                               const std::map<std::uint32_t, kovax::json>& wanted) {
  std::map<std::uint32_t, kovax::json> found;
  for (int time = 0; time < 2; ++time) {
    for (const auto& [id, definition] : wanted) {
      const kovax::json* const one = definitions.find(id);
      if (one != nullptr) found[id] = *one;
      const bool has_next = wanted.contains(id + 1);
      EXPECT_EQ(definitions.find(id + 1) != nullptr, has_next) << id + 1;
    }
  }
  return found;
}

void take_line(kovax_source* /*source*/, void* user_data, std::int32_t /*level*/,
               const char* message) {
  static_cast<std::vector<std::string>*>(user_data)->push_back(message);
}

// What the plug-in's reader makes of the text, as far as a plain record holds it.
database_outcome outcome_of(const std::string& text,
                            const std::map<std::uint32_t, kovax::json>& definitions) {
  database_outcome outcome;
  veltra::database_collection collection;
  try {
    veltra::process_database_text(collection, {take_line, &outcome.log}, text);
  } catch (const std::exception& failure) {
    outcome.failure = described_failure(failure);
    EXPECT_TRUE(collection.configs().empty() && collection.uuid.empty());
    return outcome;
  }
  auto& config = *collection.find_config_for_master(collection.configs().front().id);
  plain_database::record& record = outcome.record.emplace();
  record.id = config.id;
  record.trace_id_size = config.trace_id_size;
  record.min_data_size = config.min_data_size;
  record.little_endian = config.little_endian;
  record.aliases = config.aliases;
  record.ids = config.ids;
  record.buffers = config.buffers;
  record.decoder_config = config.decoder_config;
  record.name = config.name;
  for (const veltra::type_descriptor& each : config.type_descriptors) {
    const auto range = each.id_range.value_or(veltra::type_descriptor::range{});
    record.type_descriptors.emplace_back(each.type, each.trace_id, range.max, range.min);
  }
  record.peer_buffer_layers = config.peer_buffer_layers;
  record.peer_buffers = config.peer_buffers;
  record.static_strings.insert(config.static_strings.begin(), config.static_strings.end());
  record.type_mapping_by_id = config.type_mapping_by_id;
  record.uuid = collection.uuid;
  EXPECT_EQ(config.traces.size(), definitions.size());
  record.traces = looked_up(config.traces, definitions);
  return outcome;
}

TEST(database_differential, random_texts_are_read_as_by_a_plain_reader) {
  const unsigned long cases = test_support::differential_cases(5000);
  database_text_maker input(1);
  unsigned long processed = 0;
  unsigned long refused = 0;
  unsigned long definitions = 0;
  for (unsigned long round = 0; round < cases; ++round) {
    const std::string text = input.text();
    const database_outcome wanted = plain_outcome(text);
    if (wanted.breaks_a_contract) continue;
    const auto& wanted_traces =
        wanted.record ? wanted.record->traces : std::map<std::uint32_t, kovax::json>();
    const database_outcome found = outcome_of(text, wanted_traces);
    ASSERT_EQ(found.failure, wanted.failure) << "text " << round << ": " << text;
    ASSERT_TRUE(found.record == wanted.record) << "text " << round << ": " << text;
    ASSERT_EQ(found.log, wanted.log) << "text " << round << ": " << text;
    ASSERT_FALSE(testing::Test::HasFailure()) << "text " << round << ": " << text;
    ++(wanted.record ? processed : refused);
    definitions += static_cast<unsigned long>(wanted_traces.size());
  }
  // Not mere noise.
  EXPECT_GT(processed, cases / 5);
  EXPECT_GT(refused, cases / 5);
  EXPECT_GT(definitions, cases / 5);
  std::printf("%lu processed with %lu definitions, %lu refused, %lu that break a contract\n",
              processed, definitions, refused, cases - processed - refused);
}

}  // namespace
