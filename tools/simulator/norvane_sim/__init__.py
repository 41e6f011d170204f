"""Stand-in for `uv`, the measurement tool (norvane.cli) and the upload tool
(norvane.manage), so that the program can be tested and demonstrated without
Python packages, a browser or a network."""

SIM_VERSION = "1.0"

# The uv release the simulator claims to be; only `uv --version` shows it.
UV_VERSION = "0.8.22"
