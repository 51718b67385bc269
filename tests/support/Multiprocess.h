#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

/// Tests with real processes. A child is this test program again, told to run one named function:
///
///     CHILD_MAIN(holdsLockThenDies) {
///         …
///         step("locked");      // tells the parent how far it is
///         await("go");         // waits for the parent's word
///     }
///
///     Child child("holdsLockThenDies");
///     child.waitFor("locked");
///     child.kill();
///
/// Nobody sleeps to let the other catch up. Every wait has a limit, after which the test fails and shows what the child
/// wrote to standard error. A child never outlives the test.
namespace multiprocess {

using Variables = std::vector<std::pair<std::string, std::string>>;

/// A running child. Belongs to one thread.
class Child {
public:
    /// Starts the function `name`, with arguments and with variables added to the environment.
    explicit Child(const std::string& name, const std::vector<std::string>& arguments = {},
                   const Variables& environment = {});
    /// Kills and reaps the child if it still runs.
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return pid_; }

    /// Waits for the child's next step, which must be `word`.
    void waitFor(const std::string& word);

    /// Waits for the child's next step and returns it.
    std::string next();

    /// Lets the child's `await(word)` return.
    void tell(const std::string& word);

    /// Sends SIGKILL and reaps.
    void kill();

    /// Waits for the child's end. Returns its exit code, or 128 and the number of the signal that ended it.
    int join();

    /// What the child wrote to standard output and standard error so far.
    std::string output() const;
    std::string errors() const;

private:
    pid_t pid_ = -1;
    int fromChild_ = -1;
    int toChild_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string pending_;
};

/// In a child: tells the parent.
void step(const std::string& word);

/// In a child: waits for the parent, which must say `word`. Ends the process when the parent is gone.
void await(const std::string& word);

using ChildMain = int (*)(const std::vector<std::string>& arguments);

/// Registers a child's function; used by CHILD_MAIN.
struct Registration {
    Registration(const char* name, ChildMain function);
};

/// Runs the child's function if this process is a child. Returns its exit code, or -1 in the test program itself.
int runAsChild(int argc, char** argv);

}  // namespace multiprocess

#define CHILD_MAIN(name)                                                    \
    static void vdiChild_##name(const std::vector<std::string>& arguments); \
    static const multiprocess::Registration vdiRegistration_##name(         \
        #name, [](const std::vector<std::string>& childArguments) {         \
            vdiChild_##name(childArguments);                                \
            return 0;                                                       \
        });                                                                 \
    static void vdiChild_##name([[maybe_unused]] const std::vector<std::string>& arguments)
