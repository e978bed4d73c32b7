# SPDX-License-Identifier: Apache-2.0
# Install rules and the CMake package file: find_package(Quiver) gives Quiver::host (the contract and the host).
