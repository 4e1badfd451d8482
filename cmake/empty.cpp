// A library needs a source file, even one that is made of others.
