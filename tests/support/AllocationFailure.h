// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Makes memory run out for the code under test.
#ifndef TESTS_ALLOCATION_FAILURE_H
#define TESTS_ALLOCATION_FAILURE_H

// While it lives, one allocation of this thread that may fail (new (std::nothrow)) does: the
// next one after `successes` others.
class AllocationFailure {
 public:
    explicit AllocationFailure(int successes);
    ~AllocationFailure();
    AllocationFailure(const AllocationFailure &) = delete;
    AllocationFailure &operator=(const AllocationFailure &) = delete;

    bool happened() const;
};

#endif
