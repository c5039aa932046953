"""Real processes around the service: a private bus, the rig, watchers and callers.

The demonstration and the integration tests both stand on this package. It starts programs, waits
for what they say, never sleeps, and leaves every judgement to its user.
"""
