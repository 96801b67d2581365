// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;

namespace SourceApi
{
    /// <summary>The library could not do its work at all: the platform's settings store holds
    /// values of wrong types, or an answer cannot be read. A service that refuses or is away is no
    /// exception but a result.</summary>
    public class SourceApiException : Exception
    {
        /// <summary>Makes an exception with a message.</summary>
        /// <param name="message">What went wrong.</param>
        public SourceApiException(string message)
            : base(message)
        {
        }

        /// <summary>Makes an exception that has a cause.</summary>
        /// <param name="message">What went wrong.</param>
        /// <param name="cause">Why.</param>
        public SourceApiException(string message, Exception cause)
            : base(message, cause)
        {
        }
    }
}
