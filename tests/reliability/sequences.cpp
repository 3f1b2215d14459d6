// Calls every flat function of the library in random order, as far as the header allows, and makes each sequence a
// second time with other thread counts: what it gives must be the same. Ends with the seed and the step of a fault.
//
//   sequences [--seed N] [--calls N] [--length N] [--odd-windows] [--digests] [--isolate] [--trace] [--functions FILE]
//
//   --digests      prints one line for each sequence, so that two builds of the library can be compared
//   --isolate      each sequence in a process of its own: those that end early are told, and the others go on
//   --trace        prints every step of the first sequence
//   --odd-windows  no correlation windows of even size
//   --functions    a list of names: all of them must have been called
//
// It needs no more than the public header and libkestrova.so.3.
#include "reliability/Sequence.h"

#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <exception>

extern "C" void __sanitizer_set_death_callback(void (*)()) __attribute__((weak));

namespace kestrova::test {
namespace {

struct Arguments
{
    std::uint64_t uSeed = 1;
    long nCalls = 10000;
    int nLength = 80;
    bool bDigests = false, bIsolate = false, bTrace = false;
    std::string functions{};
    Options options{};
};

std::map<std::string, long> s_counts;
std::FILE* s_pOut = nullptr; // standard output is the library's

// Only what may be called in a signal handler.
void tellPlace()
{
    char line[200];
    const int n = std::snprintf(line, sizeof line, "sequences: --seed %llu ended at step %d, %s\n",
                                static_cast<unsigned long long>(g_uSeed), g_nStep, g_pszCall);
    if (::write(2, line, static_cast<std::size_t>(n)) < 0) {
        ::_exit(3);
    }
}

void onSignal(int nSignal)
{
    tellPlace();
    std::signal(nSignal, SIG_DFL);
    std::raise(nSignal);
}

using Steps = std::vector<std::pair<const char*, std::uint64_t>>;

Steps play(std::uint64_t uSeed, const Arguments& rArguments, int nThreadShift)
{
    Options options = rArguments.options;
    options.nThreadShift = nThreadShift;
    for (const auto& rEntry : std::filesystem::directory_iterator(options.folder)) {
        std::filesystem::remove_all(rEntry.path());
    }
    ::mallopt(M_PERTURB, nThreadShift != 0 ? 0x5A : 0xA6); // memory that was never written differs as well
    ::alarm(120);
    Sequence sequence(uSeed, options);
    sequence.run(rArguments.nLength, s_counts);
    return sequence.steps();
}

/** False when the second run gave something else. */
bool sequence(std::uint64_t uSeed, const Arguments& rArguments)
{
    const Steps steps = play(uSeed, rArguments, 0);
    for (std::size_t i = 0; rArguments.bTrace && i < steps.size(); ++i) {
        std::fprintf(s_pOut, "%zu %s %016llx\n", i, steps[i].first, static_cast<unsigned long long>(steps[i].second));
    }
    const Steps again = play(uSeed, rArguments, 1 + static_cast<int>(uSeed % 4));
    const auto it = std::mismatch(steps.begin(), steps.end(), again.begin(), again.end()).first;
    if (it != steps.end()) {
        std::fprintf(stderr, "sequences: --seed %llu, step %td, %s: another result with other thread counts\n",
                     static_cast<unsigned long long>(uSeed), it - steps.begin(), it->first);
        return false;
    }
    if (rArguments.bDigests) {
        std::fprintf(s_pOut, "%llu %016llx\n", static_cast<unsigned long long>(uSeed),
                     static_cast<unsigned long long>(steps.back().second));
        std::fflush(s_pOut);
    }
    return true;
}

bool isolated(std::uint64_t uSeed, const Arguments& rArguments)
{
    const pid_t nChild = ::fork();
    if (nChild == 0) {
        ::_exit(sequence(uSeed, rArguments) ? 0 : 1);
    }
    int nStatus = 0;
    ::waitpid(nChild, &nStatus, 0);
    if (WIFSIGNALED(nStatus)) {
        std::fprintf(s_pOut, "%llu died of signal %d\n", static_cast<unsigned long long>(uSeed), WTERMSIG(nStatus));
        std::fflush(s_pOut); // or each child that follows writes it again
    }
    return nStatus == 0;
}

Arguments parse(int argc, char** argv)
{
    Arguments arguments;
    const auto number = [&](int i) {
        long long n = 0;
        if (i < argc) {
            std::from_chars(argv[i], argv[i] + std::strlen(argv[i]), n);
        }
        return n;
    };
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--seed") {
            arguments.uSeed = static_cast<std::uint64_t>(number(++i));
        } else if (word == "--calls") {
            arguments.nCalls = static_cast<long>(number(++i));
        } else if (word == "--length") {
            arguments.nLength = static_cast<int>(number(++i));
        } else if (word == "--functions" && i + 1 < argc) {
            arguments.functions = argv[++i];
        } else if (word == "--odd-windows") {
            arguments.options.bOddWindows = true;
        } else if (word == "--digests") {
            arguments.bDigests = true;
        } else if (word == "--isolate") {
            arguments.bIsolate = true;
        } else if (word == "--trace") {
            arguments.bTrace = true;
        } else {
            std::fprintf(stderr, "sequences: no such argument: %s\n", argv[i]);
            std::exit(2);
        }
    }
    return arguments;
}

/** The names of a list, one to a line, that no sequence called; variables aside. */
int uncalled(const std::string& rList)
{
    int nMissing = 0;
    std::ifstream list(rList);
    if (!rList.empty() && !list) {
        std::fprintf(stderr, "sequences: cannot read %s\n", rList.c_str());
        return 1;
    }
    for (std::string name; std::getline(list, name);) {
        if (!name.starts_with("g_") && s_counts[name] == 0) {
            std::fprintf(stderr, "sequences: never called: %s\n", name.c_str());
            ++nMissing;
        }
    }
    return nMissing;
}

int run(int argc, char** argv)
{
    Arguments arguments = parse(argc, argv);
    std::string folder = (std::filesystem::temp_directory_path() / "kestrova-XXXXXX").string();
    arguments.options.folder = ::mkdtemp(folder.data());
    s_pOut = ::fdopen(::dup(1), "w");
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        return 2;
    }
    for (const int nSignal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGALRM}) {
        if (&__sanitizer_set_death_callback == nullptr || nSignal == SIGALRM || nSignal == SIGABRT) {
            std::signal(nSignal, onSignal);
        }
    }
    if (&__sanitizer_set_death_callback != nullptr) {
        __sanitizer_set_death_callback(tellPlace);
    }
    const long nSequences = (arguments.nCalls + arguments.nLength - 1) / arguments.nLength;
    long nFailed = 0;
    for (long i = 0; i < nSequences; ++i) {
        const std::uint64_t uSeed = arguments.uSeed + static_cast<std::uint64_t>(i);
        nFailed += !(arguments.bIsolate ? isolated : sequence)(uSeed, arguments);
        arguments.bTrace = false;
    }
    std::filesystem::remove_all(folder);
    const int nMissing = arguments.bIsolate ? 0 : uncalled(arguments.functions);
    std::fprintf(s_pOut, "%ld sequences of %d calls, each made twice: %ld failed, %d functions not called\n",
                 nSequences, arguments.nLength, nFailed, nMissing);
    std::fclose(s_pOut);
    return nFailed != 0 || nMissing != 0;
}

} // namespace
} // namespace kestrova::test

int main(int argc, char** argv)
{
    return kestrova::test::run(argc, argv);
}
