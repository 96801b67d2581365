// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;

namespace SourceApi
{
    /// <summary>The platform's settings store holds values of wrong types, or a reply cannot be
    /// read. A refusal and an unreachable service are results, not exceptions.</summary>
    public class SourceApiException : Exception
    {
        /// <summary>Makes an exception with a message.</summary>
        /// <param name="message">The error message.</param>
        public SourceApiException(string message)
            : base(message)
        {
        }

        /// <summary>Makes an exception that has a cause.</summary>
        /// <param name="message">The error message.</param>
        /// <param name="cause">The cause.</param>
        public SourceApiException(string message, Exception cause)
            : base(message, cause)
        {
        }
    }
}
