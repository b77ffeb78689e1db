#include "tests/host/validate/validating.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace talvora::host {

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;

// A plug-in, the check that is about its fault, and what has to be said.
struct Fault {
    const char* plugin;
    const char* check;
    Verdict verdict;
    const char* finding;
};

constexpr Fault FAULTS[] = {
    {"no_entry", "library.loads", Verdict::Fail, "no function 'talvora_plugin_api'"},
    {"second_export", "library.one-name", Verdict::Fail, "exports 'another_function' too"},
    {"throws_at_entry", "tables.descriptor", Verdict::Fail, "throws: not today"},
    {"no_descriptor", "tables.descriptor", Verdict::Fail, "gives no descriptor"},
    {"no_plugin_name", "tables.descriptor", Verdict::Fail, "has no name"},
    {"no_units", "tables.units", Verdict::Fail, "gives no table"},
    {"count_not_written", "tables.units", Verdict::Fail, "does not write the count"},
    {"too_many_units", "tables.units", Verdict::Fail, "counts 4294967295 rows"},
    {"wrong_count", "tables.units", Verdict::Fail, "unit 1 of 2: has no name"},
    {"null_unit_name", "tables.units", Verdict::Fail, "unit 1 of 2: has no name"},
    {"empty_unit_name", "tables.units", Verdict::Fail, "unit 1 of 2: has the empty name"},
    {"no_declare", "tables.units", Verdict::Fail, "has no operation 'declare'"},
    {"no_run", "tables.units", Verdict::Fail, "has no operation 'run'"},
    {"same_name_twice", "tables.units", Verdict::Fail, "has the name"},
    {"date_and_version", "tables.null-rules", Verdict::Fail, "both a date and a version"},
    {"changing_text", "tables.texts", Verdict::Fail, "is another at the second call"},
    {"reserved_not_zero", "tables.reserved", Verdict::Fail, "reserved byte 164 is 0x1"},
    {"answers_unknown_kind", "tables.unknown-kinds", Verdict::Fail, "answered by a table"},

    {"bad_signature", "declare.signatures", Verdict::Fail, "unknown type"},
    {"same_key_twice", "declare.signatures", Verdict::Fail, "'SourceGroup' is declared twice"},
    {"required_with_default", "declare.required", Verdict::Fail, "required and has a default"},
    {"declares_differently", "declare.repeatable", Verdict::Fail, "something else"},
    {"narrow_answer", "declare.answer", Verdict::Fail, "not the answer"},

    {"crashes", "run.ordinary", Verdict::Crash, "SIGSEGV"},
    {"aborts", "run.ordinary", Verdict::Crash, "SIGABRT"},
    {"leaves_process", "run.ordinary", Verdict::Fail, "leaves a process behind"},
    {"never_returns", "run.ordinary", Verdict::TimeOut, "does not come back in time"},
    {"ends_process", "run.ordinary", Verdict::Fail, "ends the process with exit code 0"},
    {"throws", "run.ordinary", Verdict::Fail, "throws: out of luck"},
    {"calls_unused_slot", "run.ordinary", Verdict::Fail, "slot 6 was called"},
    {"uses_null_name", "run.ordinary", Verdict::Fail, "null text"},
    {"trusts_count", "run.ordinary", Verdict::Crash, "SIGSEGV"},
    {"trusts_text_count", "run.ordinary", Verdict::Crash, "past the end of a host record's buffer"},
    {"wide_flag", "run.ordinary", Verdict::Fail, "no std::exception"},
    {"used_record", "run.ordinary", Verdict::Fail, "record that is not zeroed"},
    {"reads_past_text", "run.ordinary", Verdict::Crash, "past the end of a host record's buffer"},
    {"writes_table", "run.ordinary", Verdict::Fail, "slot 6 of the host's table 4 was written"},
    {"null_message_text", "run.ordinary", Verdict::Fail,
     "log_info: called with a null text to fill into the message"},
    {"narrow_integer", "run.ordinary", Verdict::Fail,
     "log_info: called with an integer of 32 bits, -1"},
    {"template_of_user", "run.wrong-values", Verdict::Fail, "as the template of a message"},
    {"fails_silently", "run.reported-failures", Verdict::Fail, "without an error message"},
    {"asks_outside", "run.extents", Verdict::Fail, "has no samples from"},
    {"changes_source", "run.sources", Verdict::Fail, "changes 'Imu/acc'"},
    {"makes_other_group", "run.sources", Verdict::Fail, "makes 'Elsewhere'"},
    {"writes_past_end", "run.buffers", Verdict::Crash,
     "wrote past the end of a block of the plug-in"},
    {"writes_before_beginning", "run.buffers", Verdict::Crash, "before the beginning of a block"},
    {"small_buffer", "run.buffers", Verdict::Crash, "wrote past the end of a block of the plug-in"},
    {"overflows_static_buffer", "run.buffers", Verdict::Crash,
     "past the end of the static data of the library"},
    {"reads_into_static_buffer", "run.buffers", Verdict::Crash,
     "in read_samples: wrote past the end of the static data of the library"},
    {"takes_much_stack", "run.small-stack", Verdict::Crash, "takes more stack than the "},
    {"leaks_on_two_values", "run.made-up-inputs", Verdict::Fail,
     "(--seed 0) First=true Second=true"},

    {"leaks_record", "records.of-successes", Verdict::Fail, "does not free 5 of the buffers"},
    {"leaks_aux", "records.of-successes", Verdict::Fail, "does not free 1 of the buffers"},
    {"leaks_absent_record", "records.of-successes", Verdict::Fail,
     "does not free 1 of the buffers"},
    {"double_free", "records.of-successes", Verdict::Fail, "was freed twice"},
    {"reads_freed", "records.of-successes", Verdict::Crash, "after it was freed, a host record"},
    {"leaks_record_on_failure", "records.of-failures", Verdict::Fail,
     "does not free 1 of the buffers"},

    {"leaks_memory", "calls.memory", Verdict::Fail, "holds 1 more blocks"},
    {"keeps_mapping", "calls.memory", Verdict::Fail, "holds 65536 more bytes of mapped memory"},
    {"leaks_on_value", "calls.memory", Verdict::Fail, "holds 1 more blocks"},
    {"keeps_table", "calls.nothing-kept", Verdict::Crash, "good for an earlier call alone"},
    {"keeps_callback", "calls.nothing-kept", Verdict::Fail, "callback get_interface"},
    {"keeps_context", "calls.nothing-kept", Verdict::Fail, "context that is not the call's"},
    {"keeps_handle", "calls.nothing-kept", Verdict::Fail, "handle was used that this call"},
    {"remembers", "calls.nothing-kept", Verdict::Fail, "other results at a later call"},
    {"changes_at_third_call", "calls.nothing-kept", Verdict::Fail, "other results at a later call"},
    {"keeps_callback_of_failure", "calls.nothing-kept", Verdict::Fail, "callback get_interface"},
    {"uses_fresh_memory", "calls.same-bits", Verdict::Fail, "two processes give other results"},
    {"depends_on_locale", "calls.same-elsewhere", Verdict::Fail,
     "a locale with a decimal comma gives other results"},
    {"depends_on_clock", "calls.same-elsewhere", Verdict::Fail, "another time gives other results"},

    {"prints", "process.silent", Verdict::Fail, "prints 'negating"},
    {"prints_on_odd_sets", "process.silent", Verdict::Fail, "prints 'a set without"},
    {"prints_much", "process.silent", Verdict::Fail, "prints '000000"},
    {"starts_thread", "process.threads", Verdict::Fail, "pthread_create"},
    {"opens_file", "process.files", Verdict::Fail, "calls 'fopen"},
    {"closes_stream", "process.files", Verdict::Fail, "is nothing"},
    {"changes_rounding", "process.floating-point", Verdict::Fail, "rounding mode was"},
    {"changes_locale", "process.locale", Verdict::Fail, "C locale was 'C'"},
    {"handles_signal", "process.signals", Verdict::Fail, "handler of signal 15"},
    {"sets_alarm", "process.signals", Verdict::Fail, "calls 'alarm'"},
    {"sets_new_handler", "process.handlers", Verdict::Fail, "handler of new was"},
    {"sets_terminate", "process.handlers", Verdict::Fail, "handler of terminate was"},
    {"lowers_limit", "process.limits", Verdict::Fail, "limit RLIMIT_NOFILE was"},
    {"changes_priority", "process.limits", Verdict::Fail, "priority (nice) was"},
    {"changes_environment", "process.surroundings", Verdict::Fail, "SAMPLE_WAS_HERE"},
};

class FaultyPlugins : public testing::TestWithParam<Fault> {};

TEST_P(FaultyPlugins, AreNamedByTheCheckThatIsAboutTheirFault) {
    const Fault& fault = GetParam();
#if defined(TALVORA_ADDRESS_SANITIZER)
    if (std::string_view(fault.check) == "run.small-stack" ||
        std::string_view(fault.plugin).ends_with("_static_buffer") ||
        std::string_view(fault.plugin) == "template_of_user") {
        GTEST_SKIP()
            << "the sanitizer has stacks, signals, places in memory and a printf of its own";
    }
#endif
    const bool is_endless = fault.verdict == Verdict::TimeOut;
    const auto results =
        validate(faulty_plugin(fault.plugin), fault.check,
                 is_endless ? std::chrono::milliseconds(500) : std::chrono::minutes(2));
    ASSERT_THAT(results, SizeIs(1));
    EXPECT_STREQ(name_of(results[0].verdict), name_of(fault.verdict));
    EXPECT_THAT(results[0].findings, Contains(HasSubstr(fault.finding)));
    EXPECT_FALSE(all_good(results));
}

INSTANTIATE_TEST_SUITE_P(Each, FaultyPlugins, testing::ValuesIn(FAULTS),
                         [](const auto& instance) { return instance.param.plugin; });

// A fault in the use of a slot, the check that finds it, and how the slot is named.
struct NamedSlot {
    const char* plugin;
    const char* check;
    const char* words;
};

constexpr NamedSlot SLOTS[] = {
    {"small_buffer", "run.buffers", "SIGSEGV) in read_samples: wrote past"},
    {"trusts_text_count", "run.ordinary", "SIGSEGV) after read_string: read past"},
    {"leaks_record", "records.of-successes", " bytes of list_datasets)"},
    {"leaks_aux", "records.of-successes", " bytes of read_string)"},
    {"double_free", "records.of-successes", " bytes of read_string) was freed twice"},
    {"reads_freed", "records.of-successes", " bytes of read_string)"},
    {"keeps_handle", "calls.nothing-kept", "group_exists: a handle was used"},
    {"keeps_context", "calls.nothing-kept", "root_group: called with a context"},
};

class SlotsOfFaults : public testing::TestWithParam<NamedSlot> {};

TEST_P(SlotsOfFaults, AreNamed) {
    const auto results = validate(faulty_plugin(GetParam().plugin), GetParam().check);
    ASSERT_THAT(results, SizeIs(1));
    EXPECT_THAT(results[0].findings, Contains(HasSubstr(GetParam().words)));
}

INSTANTIATE_TEST_SUITE_P(Each, SlotsOfFaults, testing::ValuesIn(SLOTS),
                         [](const auto& instance) { return instance.param.plugin; });

// A folder that no row is about would be a fault that nobody looks for.
TEST(Faults, HaveARowEach) {
    std::set<std::string> rows{"good", "refused_realloc"};
    for (const Fault& fault : FAULTS) {
        rows.insert(fault.plugin);
    }
    std::set<std::string> libraries;
    for (const auto& entry : std::filesystem::directory_iterator(FAULTY_PLUGINS)) {
        if (entry.path().extension() == ".so") {
            libraries.insert(entry.path().stem().string());
        }
    }
    EXPECT_EQ(libraries, rows);
}

} // namespace

} // namespace talvora::host
