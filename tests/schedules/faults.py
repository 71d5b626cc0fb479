"""Faults of order and lifetime, made by hand, that every schedule of the small worlds has to find: some
of those that the simulation has to find, and some of their own, in the same form.
"""
from simulation.faults import COORDINATOR, HANDLER, SERVER, SESSION
from simulation.faults import FAULTS as SIMULATED

SHARED = (
    "the last in line is served first",
    "the next in line is dropped",
    "a stop leaves those in line alone",
    "a server that stops serves who still comes",
    "the provider is shut down before the last handler",
    "the first handler that finishes ends the stop",
    "no deadline is set",
    "a cancelled task answers",
    "a handler finishes while its request is routed",
    "an idle timer knows only the time",
    "a use is never over",
    "a dead stream is not noticed",
    "a stream is known only once it has started",
    "a session that is stopped leaves its stream alone",
    "a start that comes late is not stopped",
)

FAULTS = {name: SIMULATED[name] for name in SHARED} | {
    "one connection too many is served": [
        (SERVER, "handlers_.size() >= connectionLimit_", "handlers_.size() > connectionLimit_")],
    "what arrives behind the end is routed": [
        (HANDLER, "    if (isFinished()) {\n        return;", "    if (false) {\n        return;"),
        (HANDLER, "        if (finished_) {\n            return;\n        }\n        // Stored", "        // Stored")],
    "one display too many is captured": [
        (COORDINATOR, "(entries_.size()) >= sessionLimit_", "(entries_.size()) > sessionLimit_")],
    "a shutdown leaves the sessions that start alone": [
        (COORDINATOR, "        co_await entry.session->stop();", "        if (entry.users == 0) {\n            co_await entry.session->stop();\n        }")],
    "behind the shutdown a session is made": [
        (COORDINATOR, "isShuttingDown_ ? nullptr : findOrMakeEntry(displayID)", "findOrMakeEntry(displayID)")],
    "a stop during the start is forgotten": [
        (SESSION, "    if (self->isStopped_) {\n        // A stop during", "    if (false) {\n        // A stop during")],
}
