// Nothing of its own: the build precompiles headers beside it.
