// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Collections.Generic;
using System.Globalization;
using System.IO;
using System.Linq;
using System.Runtime.Serialization.Json;
using System.Text;
using System.Xml;
using System.Xml.Linq;

namespace SourceApi
{
    /// <summary>A JSON object, whose members are read with the conversions of the native library: a
    /// missing or null member is empty, zero or false, and numbers, texts and booleans are
    /// converted to each other if no information is lost.</summary>
    internal sealed class JsonObject
    {
        private readonly XElement element;

        private JsonObject(XElement element)
        {
            this.element = element;
        }

        /// <summary>The objects of an array; none for null.</summary>
        internal static IEnumerable<JsonObject> ParseArray(string text)
        {
            XElement root = Parse(text);
            if (TypeOf(root) != "array" && TypeOf(root) != "null")
            {
                throw new SourceApiException("the answer is not a JSON array");
            }
            return root.Elements().Select(AsObject).ToList();
        }

        internal static JsonObject ParseObject(string text)
        {
            return AsObject(Parse(text));
        }

        internal string Text(string name)
        {
            XElement member = Member(name, "string", "number", "boolean");
            return member == null ? "" : member.Value;
        }

        internal bool Flag(string name)
        {
            XElement member = Member(name, "boolean", "number");
            return member != null && (TypeOf(member) == "boolean"
                ? XmlConvert.ToBoolean(member.Value)
                : Number(member) != 0);
        }

        internal int Int(string name)
        {
            XElement member = Member(name, "number", "boolean");
            if (member == null)
            {
                return 0;
            }
            if (TypeOf(member) == "boolean")
            {
                return XmlConvert.ToBoolean(member.Value) ? 1 : 0;
            }
            double number = Math.Truncate(Number(member));
            if (number < int.MinValue || number > int.MaxValue)
            {
                throw Unreadable(name);
            }
            return (int)number;
        }

        private static XElement Parse(string text)
        {
            byte[] bytes = Encoding.UTF8.GetBytes(text);
            try
            {
                using (var stream = new MemoryStream(bytes))
                using (XmlReader reader = JsonReaderWriterFactory.CreateJsonReader(stream,
                    Encoding.UTF8, XmlDictionaryReaderQuotas.Max, null))
                {
                    return XElement.Load(reader);
                }
            }
            catch (Exception error) when (error is XmlException
                || error is InvalidOperationException || error is FormatException)
            {
                throw new SourceApiException("the answer is not JSON: " + error.Message, error);
            }
        }

        private static JsonObject AsObject(XElement element)
        {
            if (TypeOf(element) != "object")
            {
                throw new SourceApiException("the answer has a value where an object should be");
            }
            return new JsonObject(element);
        }

        // Null if the member is missing or null.
        private XElement Member(string name, params string[] types)
        {
            XElement member = element.Element(name);
            if (member == null || TypeOf(member) == "null")
            {
                return null;
            }
            if (!types.Contains(TypeOf(member)))
            {
                throw Unreadable(name);
            }
            return member;
        }

        private static string TypeOf(XElement element)
        {
            XAttribute type = element.Attribute("type");
            return type == null ? "string" : type.Value;
        }

        private static double Number(XElement element)
        {
            return double.Parse(element.Value, NumberStyles.Float, CultureInfo.InvariantCulture);
        }

        private static SourceApiException Unreadable(string name)
        {
            return new SourceApiException("the member \"" + name
                + "\" of the answer has a wrong type");
        }
    }
}
