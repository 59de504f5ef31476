// Nothing of its own: the build precompiles headers for the tests beside it.
