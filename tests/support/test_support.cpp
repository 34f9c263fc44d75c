// Shared test helpers.
