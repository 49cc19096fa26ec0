"""Small changes to the sources, tried one by one: would the tests notice?"""
