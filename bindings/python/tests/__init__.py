# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0
