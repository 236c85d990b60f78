// A module that carries only the version resource of the tests.
