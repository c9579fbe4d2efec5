// Holds the precompiled headers that all test programs share (see zelto_test).
