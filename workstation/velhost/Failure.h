#ifndef WORKSTATION_VELHOST_FAILURE_H
#define WORKSTATION_VELHOST_FAILURE_H

#include <stdexcept>

// The two ways in which velhost fails. The difference is what the user must look after: a refusal has left everything
// as it was. Errors are thrown as one of these; what else comes, from a library as a rule, counts as a Failure.

namespace velhost {

/// A request that cannot be met, found before anything was played or printed: the user can mend the request and repeat
/// it. `what()` is the one line for the user; the process ends with exit status 2.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A refusal that begins with the place of the mistake, "FILE:LINE: ", and is shown as it stands.
class ScriptRefusal : public Refusal {
public:
    using Refusal::Refusal;
};

/// A failure on the way: part of the work may have been done, and calls that were played stay on disk. `what()` is the
/// one line for the user; the process ends with exit status 1.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace velhost

#endif
