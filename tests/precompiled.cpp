// A source for the target that compiles the header which all test programs share.
