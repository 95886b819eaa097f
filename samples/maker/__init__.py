# SPDX-License-Identifier: Apache-2.0
"""Writes the sample documents: one module for each document, a few shared ones below them."""
