// A target that makes a precompiled header needs a source.
