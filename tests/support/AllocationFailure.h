// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Makes an allocation of the code under test fail.
#ifndef TESTS_ALLOCATION_FAILURE_H
#define TESTS_ALLOCATION_FAILURE_H

// During its lifetime one allocation of this thread with new (std::nothrow) fails: the next one
// after `successes` others.
class AllocationFailure {
 public:
    explicit AllocationFailure(int successes);
    ~AllocationFailure();
    AllocationFailure(const AllocationFailure &) = delete;
    AllocationFailure &operator=(const AllocationFailure &) = delete;

    bool happened() const;
};

#endif
